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

UserDefaultsDatabase::Revision revisionOfText(NSUserDefaults::Revision revision) {
  return [revision = std::move(revision)](const std::optional<std::string>& stored) {
    const auto value = revision(stored ? fromStoredForm(*stored) : std::nullopt);
    auto text = value ? storedForm(*value) : std::nullopt;
    return value && !text ? stored : text;
  };
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

// Stored forms by key, none removing the key, and revisions of what is stored; a key is in one of the two.
struct NSUserDefaults::Piece {
  UserDefaultsDatabase::Changes texts;
  UserDefaultsDatabase::Revisions revisions;

  const std::string& anyKey() const {
    return texts.empty() ? revisions.begin()->first : texts.begin()->first;
  }
  bool contains(std::string_view key) const { return texts.contains(key) || revisions.contains(key); }
  bool sharesKeyWith(const Piece& other) const {
    const auto contained = [this](const auto& entry) { return contains(entry.first); };
    return std::any_of(other.texts.begin(), other.texts.end(), contained) ||
           std::any_of(other.revisions.begin(), other.revisions.end(), contained);
  }
  void set(const std::string& key, std::optional<std::string> text) {
    revisions.erase(key);
    texts.insert_or_assign(key, std::move(text));
  }
  void revise(const std::string& key, const UserDefaultsDatabase::Revision& revision) {
    if (const auto text = texts.find(key); text != texts.end()) {
      text->second = revision(text->second);
    } else {
      revisions[key].push_back(revision);
    }
  }
  void add(const Piece& later) {
    for (const auto& [key, text] : later.texts) set(key, text);
    for (const auto& [key, those] : later.revisions) {
      for (const auto& revision : those) revise(key, revision);
    }
  }
};

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

void NSUserDefaults::removeObjectForKey(std::string_view key) {
  setObjects({{std::string(key), std::nullopt}});
}

bool NSUserDefaults::setObjects(const Changes& changes) {
  Piece piece;
  for (const auto& [key, change] : changes) {
    if (const auto* revision = std::get_if<Revision>(&change)) {
      piece.revise(key, revisionOfText(*revision));
      continue;
    }
    const auto& value = std::get<std::optional<Value>>(change);
    std::optional<std::string> text = value ? storedForm(*value) : std::nullopt;
    if (value && !text) {
      NSLog("NSUserDefaults: refused to store a value for the key \"" + key +
            "\": it holds an object, a dictionary key that is no string, or too many levels.");
      return false;
    }
    piece.set(key, std::move(text));
  }
  return changes.empty() || store(std::move(piece));
}

bool NSUserDefaults::store(Piece piece) {
  std::vector<std::string> reports;
  bool isStored;
  {
    MutexLock lock(mutex_);
    const bool areOthersPending = !pending_.empty();
    isStored = !areOthersPending && database_->write(piece.texts, piece.revisions);
    if (!isStored) {
      const std::string anyKey = piece.anyKey();
      keepPending(std::move(piece));
      if (areOthersPending) writePending();
      isStored = !findPending(anyKey);
    }
    reports = database_->takeReports();
  }
  logAll(reports);
  return isStored;
}

// Pieces that share a key become one, since neither may be stored without the other.
void NSUserDefaults::keepPending(Piece piece) {
  Piece whole;
  for (auto earlier = pending_.begin(); earlier != pending_.end();) {
    const bool isPart = earlier->sharesKeyWith(piece);
    if (isPart) whole.add(*earlier);
    earlier = isPart ? pending_.erase(earlier) : std::next(earlier);
  }
  whole.add(piece);
  pending_.push_back(std::move(whole));
}

// Each piece by itself: what has room is stored, whatever else has none.
void NSUserDefaults::writePending() {
  for (auto piece = pending_.begin(); piece != pending_.end();) {
    const bool isWritten = database_->write(piece->texts, piece->revisions);
    piece = isWritten ? pending_.erase(piece) : std::next(piece);
  }
  if (pending_.empty()) database_->forgetReportedFailures();
}

const NSUserDefaults::Piece* NSUserDefaults::findPending(std::string_view key) const {
  const auto found = std::find_if(pending_.begin(), pending_.end(),
                                  [key](const Piece& piece) { return piece.contains(key); });
  return found == pending_.end() ? nullptr : &*found;
}

Reading<std::string> NSUserDefaults::readText(std::string_view key) {
  const Piece* waiting = findPending(key);
  if (!waiting) return database_->read(key);
  if (const auto text = waiting->texts.find(key); text != waiting->texts.end()) return text->second;
  Reading<std::string> stored = database_->read(key);
  if (stored.isUnreadable()) return stored;
  std::optional<std::string> text = std::move(stored);
  for (const auto& revision : waiting->revisions.find(key)->second) text = revision(text);
  return text;
}

Reading<Value> NSUserDefaults::objectForKey(std::string_view key) {
  Reading<std::string> text;
  std::vector<std::string> reports;
  {
    MutexLock lock(mutex_);
    text = readText(key);
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
