#include "platform/foundation/NSUserDefaults.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/PercentEncoding.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"

namespace platform {

namespace {

constexpr std::string_view kDateKey = "$date";
constexpr std::string_view kRealKey = "$real";

bool hasMarkedKey(const Dictionary& entries) {
  return std::any_of(entries.begin(), entries.end(),
                     [](const Entry& entry) { return entry.first.text().starts_with('$'); });
}

// Whether plain JSON would not bring the value back as it is.
bool needsMarks(const Value& value) {
  if (value.isDate()) return true;
  if (value.isReal()) return !std::isfinite(value.real());
  if (value.isArray()) return std::any_of(value.array().begin(), value.array().end(), needsMarks);
  if (!value.isDictionary()) return false;
  const Dictionary& entries = value.dictionary();
  return hasMarkedKey(entries) || std::any_of(entries.begin(), entries.end(),
                                              [](const Entry& entry) { return needsMarks(entry.second); });
}

Value withMarks(const Value& value) {
  if (value.isDate()) return {{kDateKey, value.date().timeIntervalSince1970()}};
  if (value.isReal() && !std::isfinite(value.real())) {
    if (std::isnan(value.real())) return {{kRealKey, "nan"}};
    return {{kRealKey, value.real() > 0 ? "inf" : "-inf"}};
  }
  if (value.isArray()) {
    std::vector<Value> items(value.array().size());
    std::transform(value.array().begin(), value.array().end(), items.begin(), withMarks);
    return Array(std::move(items));
  }
  if (!value.isDictionary()) return value;
  MutableDictionary entries;
  entries.reserve(value.dictionary().size());
  for (const auto& [key, member] : value.dictionary()) {
    const bool isMarked = key.text().starts_with('$');
    entries.append(isMarked ? Value("$" + std::string(key.text())) : key, withMarks(member));
  }
  return Dictionary(std::move(entries));
}

Value withoutMarks(const Value& value) {
  if (value.isArray()) {
    std::vector<Value> items(value.array().size());
    std::transform(value.array().begin(), value.array().end(), items.begin(), withoutMarks);
    return Array(std::move(items));
  }
  if (!value.isDictionary()) return value;
  const Dictionary& entries = value.dictionary();
  if (const Value* seconds = entries.find(kDateKey))
    return NSDate::withTimeIntervalSince1970(seconds->doubleValue());
  if (const Value* name = entries.find(kRealKey)) {
    if (name->text() == "nan") return std::numeric_limits<double>::quiet_NaN();
    return name->text() == "inf" ? HUGE_VAL : -HUGE_VAL;
  }
  MutableDictionary members;
  members.reserve(entries.size());
  for (const auto& [key, member] : entries) {
    const bool isMarked = key.text().starts_with("$$");
    members.append(isMarked ? Value(key.text().substr(1)) : key, withoutMarks(member));
  }
  return Dictionary(std::move(members));
}

// None for a value that has no stored form.
std::optional<std::string> storedForm(const Value& value) {
  // JSON text proper starts with a collection: the value travels as the one item of an array.
  auto text = NSJSONSerialization::dataWithJSONObject(Array{needsMarks(value) ? withMarks(value) : value});
  if (!text) return std::nullopt;
  text->pop_back();
  text->erase(0, 1);
  return text;
}

std::optional<Value> fromStoredForm(std::string_view text) {
  std::optional<Value> value = NSJSONSerialization::JSONObjectWithData(text);
  const bool mayHoldMarks = text.find("\"$") != std::string_view::npos;
  return value && mayHoldMarks ? withoutMarks(*value) : value;
}

// A suite may be named freely; its file may not.
std::string fileName(std::string_view suite) {
  std::string name;
  for (const char c : suite) {
    if (isASCIIAlphanumeric(c) || c == '-' || c == '_' || (c == '.' && !name.empty())) {
      name += c;
    } else {
      appendPercentEscape(name, c);
    }
  }
  return (name.empty() ? "standard" : name) + ".sqlite";
}

std::string pathOfSuite(const std::string& preferences, std::string_view suite) {
  return preferences.empty() ? std::string() : preferences + "/" + fileName(suite);
}

// The suites in use by the path of their database, and the standard ones, which are kept.
struct Suites {
  Mutex mutex;
  std::map<std::string, std::weak_ptr<NSUserDefaults>> open PLATFORM_GUARDED_BY(mutex);
  std::map<std::string, std::shared_ptr<NSUserDefaults>> standard PLATFORM_GUARDED_BY(mutex);
};

Suites& suites() {
  static Suites& instance = *new Suites;
  return instance;
}

void logAll(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) NSLog(line);
}

}  // namespace

NSUserDefaults& NSUserDefaults::standardUserDefaults() {
  const Directories installed = directories();
  const std::string path = pathOfSuite(installed.preferences, installed.applicationIdentifier);
  std::shared_ptr<NSUserDefaults> defaults = withSuiteName(installed.applicationIdentifier);
  MutexLock lock(suites().mutex);
  return *suites().standard.try_emplace(path, std::move(defaults)).first->second;
}

std::shared_ptr<NSUserDefaults> NSUserDefaults::withSuiteName(std::string_view suite) {
  const std::string path = pathOfSuite(directories().preferences, suite);
  MutexLock lock(suites().mutex);
  std::weak_ptr<NSUserDefaults>& known = suites().open[path.empty() ? std::string(suite) : path];
  std::shared_ptr<NSUserDefaults> defaults = known.lock();
  if (!defaults) {
    defaults.reset(new NSUserDefaults(path));
    known = defaults;
  }
  return defaults;
}

NSUserDefaults::NSUserDefaults(std::string path)
    : path_(std::move(path)), database_(std::make_unique<UserDefaultsDatabase>(path_)) {}

NSUserDefaults::~NSUserDefaults() { synchronize(); }

bool NSUserDefaults::setObject(const Value& value, std::string_view key) {
  return setObjects({{std::string(key), value}});
}

bool NSUserDefaults::setObjectIfAbsent(const Value& value, std::string_view key) {
  const auto text = storedForm(value);
  if (!text) return false;
  const MutexLock lock(mutex_);
  return pending_.empty() && database_->writeIfAbsent(key, *text);
}

void NSUserDefaults::removeObjectForKey(std::string_view key) { store({{std::string(key), std::nullopt}}); }

bool NSUserDefaults::setObjects(const Changes& changes) {
  Texts texts;
  for (const auto& [key, value] : changes) {
    std::optional<std::string> text = value ? storedForm(*value) : std::nullopt;
    if (value && !text) {
      NSLog("NSUserDefaults: refused to store a value for the key \"" + key +
            "\": it holds an object, a dictionary key that is no string, or too many levels.");
      return false;
    }
    texts.insert_or_assign(key, std::move(text));
  }
  return texts.empty() || store(std::move(texts));
}

bool NSUserDefaults::store(Texts texts) {
  std::vector<std::string> reports;
  bool isStored;
  {
    MutexLock lock(mutex_);
    const bool areOthersPending = !pending_.empty();
    isStored = !areOthersPending && database_->write(texts);
    if (!isStored) {
      const std::string anyKey = texts.begin()->first;
      keepPending(std::move(texts));
      if (areOthersPending) writePending();
      isStored = !findPending(anyKey);
    }
    reports = database_->takeReports();
  }
  logAll(reports);
  return isStored;
}

// Newer texts win. Pieces that share a key become one, since neither may be stored without the other.
void NSUserDefaults::keepPending(Texts texts) {
  for (auto piece = pending_.begin(); piece != pending_.end();) {
    const bool sharesKey = std::any_of(piece->begin(), piece->end(),
                                       [&texts](const auto& entry) { return texts.contains(entry.first); });
    if (sharesKey) texts.merge(*piece);
    piece = sharesKey ? pending_.erase(piece) : std::next(piece);
  }
  pending_.push_back(std::move(texts));
}

// Each piece by itself: what has room is stored, whatever else has none.
void NSUserDefaults::writePending() {
  for (auto piece = pending_.begin(); piece != pending_.end();) {
    piece = database_->write(*piece) ? pending_.erase(piece) : std::next(piece);
  }
  if (pending_.empty()) database_->forgetReportedFailures();
}

const std::optional<std::string>* NSUserDefaults::findPending(std::string_view key) const {
  for (const Texts& piece : pending_) {
    if (const auto found = piece.find(key); found != piece.end()) return &found->second;
  }
  return nullptr;
}

Reading<Value> NSUserDefaults::objectForKey(std::string_view key) {
  Reading<std::string> text;
  std::vector<std::string> reports;
  {
    MutexLock lock(mutex_);
    const auto* waiting = findPending(key);
    text = waiting ? Reading<std::string>(*waiting) : database_->read(key);
    reports = database_->takeReports();
  }
  logAll(reports);
  if (text.isUnreadable()) return Reading<Value>::unreadable();
  return text ? fromStoredForm(*text) : std::nullopt;
}

Reading<std::string> NSUserDefaults::stringForKey(std::string_view key) {
  const Reading<Value> value = objectForKey(key);
  if (value.isUnreadable()) return Reading<std::string>::unreadable();
  if (!value) return std::nullopt;
  if (value->isString()) return value->string().str();
  if (value->isNumber()) return value->description();
  return std::nullopt;
}

Reading<Array> NSUserDefaults::arrayForKey(std::string_view key) {
  const Reading<Value> value = objectForKey(key);
  if (value.isUnreadable()) return Reading<Array>::unreadable();
  return value && value->isArray() ? std::optional(value->array()) : std::nullopt;
}

Reading<Dictionary> NSUserDefaults::dictionaryForKey(std::string_view key) {
  const Reading<Value> value = objectForKey(key);
  if (value.isUnreadable()) return Reading<Dictionary>::unreadable();
  return value && value->isDictionary() ? std::optional(value->dictionary()) : std::nullopt;
}

bool NSUserDefaults::synchronize() {
  std::vector<std::string> reports;
  bool isWritten;
  {
    MutexLock lock(mutex_);
    if (!pending_.empty()) writePending();
    isWritten = pending_.empty();
    reports = database_->takeReports();
  }
  logAll(reports);
  return isWritten;
}

}  // namespace platform
