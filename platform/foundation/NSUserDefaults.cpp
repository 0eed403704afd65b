#include "platform/foundation/NSUserDefaults.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/PercentEncoding.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/StoredForm.h"
#include "platform/foundation/internal/StoredList.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"

namespace platform {

namespace {

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

using Revisions = std::vector<NSUserDefaults::Revision>;

// One after the other; what one makes without a stored form is left out.
std::optional<Value> revised(std::optional<Value> value, const Revisions& revisions) {
  for (const auto& revise : revisions) {
    auto next = revise(value);
    const bool isLast = &revise == &revisions.back();  // whoever stores it finds out
    if (isLast || !next || storedForm(*next)) value = std::move(next);
  }
  return value;
}

std::optional<ListChange> changeFrom(const std::shared_ptr<const StoredList>& before, const Value& value) {
  auto difference = before ? changeTo(value, *before) : std::nullopt;
  return difference ? std::move(difference) : changeTo(value);
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

// Values by key, none removing the key, and revisions of what is stored; a key is in one of the two.
struct NSUserDefaults::Piece {
  std::map<std::string, std::optional<Value>, std::less<>> values;
  std::map<std::string, ::platform::Revisions, std::less<>> revisions;

  const std::string& anyKey() const {
    return values.empty() ? revisions.begin()->first : values.begin()->first;
  }
  bool contains(std::string_view key) const { return values.contains(key) || revisions.contains(key); }
  bool sharesKeyWith(const Piece& other) const {
    const auto contained = [this](const auto& entry) { return contains(entry.first); };
    return std::any_of(other.values.begin(), other.values.end(), contained) ||
           std::any_of(other.revisions.begin(), other.revisions.end(), contained);
  }
  void set(const std::string& key, std::optional<Value> value) {
    revisions.erase(key);
    values.insert_or_assign(key, std::move(value));
  }
  void revise(const std::string& key, const Revision& revision) {
    if (const auto set = values.find(key); set != values.end()) {
      auto next = revision(set->second);
      if (!next || storedForm(*next)) set->second = std::move(next);
    } else {
      revisions[key].push_back(revision);
    }
  }
  void add(const Piece& later) {
    for (const auto& [key, value] : later.values) set(key, value);
    for (const auto& [key, those] : later.revisions) {
      for (const auto& revision : those) revise(key, revision);
    }
  }
};

// What is written, and the lists that are stored by it, null for what is none; those of revisions when they
// have been made.
struct NSUserDefaults::Prepared {
  UserDefaultsDatabase::Changes changes;
  UserDefaultsDatabase::Revisions revisions;
  std::shared_ptr<Lists> lists = std::make_shared<Lists>();
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
      piece.revise(key, *revision);
    } else {
      piece.set(key, std::get<std::optional<Value>>(change));
    }
  }
  std::optional<bool> isStored = changes.empty() ? std::optional(true) : std::nullopt;
  for (Lists known = knownLists(); !isStored; known.clear()) {
    auto prepared = prepare(piece, known);
    if (!prepared) return false;
    isStored = store(piece, std::move(*prepared));
  }
  return *isStored;
}

std::optional<NSUserDefaults::Prepared> NSUserDefaults::prepare(const Piece& piece, const Lists& known) {
  Prepared prepared;
  const auto listOf = [&known](const std::string& key) {
    const auto found = known.find(key);
    return found == known.end() ? nullptr : found->second;
  };
  for (const auto& [key, value] : piece.values) {
    auto change = value ? changeFrom(listOf(key), *value) : ListChange{{std::nullopt}, nullptr};
    if (!change) {
      NSLog("NSUserDefaults: refused to store a value for the key \"" + key +
            "\": it holds an object, a dictionary key that is no string, or too many levels.");
      return std::nullopt;
    }
    prepared.lists->insert_or_assign(key, std::move(change->list));
    prepared.changes.insert_or_assign(key, std::move(change->change));
  }
  for (const auto& [key, those] : piece.revisions) {
    const auto list = listOf(key);
    const auto make = [list, lists = prepared.lists, key = key, those = those](
                          const std::optional<StoredText>& stored) -> std::optional<StoredChange> {
      const bool isKnown = list && stored && stored->text == list->mark();
      const auto before = isKnown ? list : stored ? listIn(*stored) : nullptr;
      const auto value = before ? before->value : stored ? fromStoredForm(stored->text) : std::nullopt;
      const auto after = revised(value, those);
      auto change = after ? changeFrom(before, *after) : ListChange{{std::nullopt}, nullptr};
      (*lists)[key] = change ? std::move(change->list) : before;
      return change ? std::optional(std::move(change->change)) : std::nullopt;
    };
    prepared.revisions.insert_or_assign(
        key, UserDefaultsTables::Revision{list ? list->mark() : std::string(), make});
  }
  return prepared;
}

std::optional<bool> NSUserDefaults::store(const Piece& piece, Prepared prepared) {
  std::vector<std::string> reports;
  bool isStored;
  {
    MutexLock lock(mutex_);
    const bool areOthersPending = !pending_.empty();
    isStored = !areOthersPending && write(prepared);
    if (!isStored && !areOthersPending && database_->isOutdated()) return std::nullopt;
    if (!isStored) {
      keepPending(piece);
      if (areOthersPending) writePending();
      isStored = !findPending(piece.anyKey());
    }
    reports = database_->takeReports();
  }
  logAll(reports);
  return isStored;
}

bool NSUserDefaults::write(Prepared& prepared) {
  const bool isWritten = database_->write(prepared.changes, prepared.revisions);
  for (auto& [key, list] : *prepared.lists) {
    if (list && isWritten) {
      lists_.insert_or_assign(key, std::move(list));
    } else {
      lists_.erase(key);
    }
  }
  return isWritten;
}

NSUserDefaults::Lists NSUserDefaults::knownLists() {
  const MutexLock lock(mutex_);
  return lists_;
}

// Pieces that share a key become one, since neither may be stored without the other.
void NSUserDefaults::keepPending(const Piece& piece) {
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
    auto prepared = prepare(*piece, {});
    piece = !prepared || write(*prepared) ? pending_.erase(piece) : std::next(piece);
  }
  if (pending_.empty()) database_->forgetReportedFailures();
}

const NSUserDefaults::Piece* NSUserDefaults::findPending(std::string_view key) const {
  const auto found = std::find_if(pending_.begin(), pending_.end(),
                                  [key](const Piece& piece) { return piece.contains(key); });
  return found == pending_.end() ? nullptr : &*found;
}

Reading<Value> NSUserDefaults::objectForKey(std::string_view key) {
  Reading<StoredText> stored;
  std::shared_ptr<const StoredList> list;
  Revisions waiting;
  std::vector<std::string> reports;
  {
    MutexLock lock(mutex_);
    if (const Piece* piece = findPending(key)) {
      if (const auto set = piece->values.find(key); set != piece->values.end()) return set->second;
      waiting = piece->revisions.find(key)->second;
    }
    if (const auto known = lists_.find(key); known != lists_.end()) list = known->second;
    stored = database_->read(key, list ? list->mark() : std::string());
    reports = database_->takeReports();
  }
  logAll(reports);
  if (stored.isUnreadable()) return Reading<Value>::unreadable();
  if (!stored) return revised(std::nullopt, waiting);
  if (!isMarkOfList(stored->text)) return revised(fromStoredForm(stored->text), waiting);
  if (!list || list->mark() != stored->text) list = listIn(*stored);
  if (!list) return revised(std::nullopt, waiting);
  MutexLock lock(mutex_);
  lists_.insert_or_assign(std::string(key), list);
  return revised(list->value, waiting);
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
