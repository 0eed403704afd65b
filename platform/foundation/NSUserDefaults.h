#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/Reading.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/Condition.h"

namespace platform {

class UserDefaultsDatabase;
struct StoredList;

// A persistent store of values by key. A set that has returned survives the death of the process. Several
// processes may use one suite at once and see each other's values at the next read: of what was stored or
// read last, only long lists are remembered, and each time asked for whether they still are what is stored.
//
// Each suite is a database of its own, "<suite>.sqlite" in the preferences directory: one row a key, whose
// value is JSON text in the form below. An array or dictionary of more than 2 KB has a row an item besides,
// so that setting it again costs what has changed: one item appended, replaced or removed costs the same in a
// list of ten and of a thousand.
//
//   null, boolean, integer, string, array, dictionary   the JSON value; a dictionary keeps its order
//   real                                                a number with a point or an exponent: 3.0
//   not a number, the two infinities                    {"$real": "nan"}, {"$real": "inf"}, {"$real": "-inf"}
//   date                                                {"$date": 2.5}, seconds since 1970 as a real
//   a dictionary's own key "$x"                         "$$x"
//
// A value that holds an NSObject, a dictionary key that is no string, or more than 511 levels has no such
// form: it is refused with a line of log.
//
// Failures never reach the caller. What cannot be written (full disk, read-only directory) stays readable in
// this process and is tried again at each set, removal or synchronize(); what was stored before stays stored.
// A database that is damaged is moved aside, as "<suite>.sqlite.corrupt-<time>", and a new one begun. Each
// cause is logged once until it has passed.
//
// Any thread. One mutex a suite, held while the database is read or written and stored values are revised,
// never while a line is logged. A call waits for another process for 100 ms at most; as long as that process
// goes on, later calls do not wait at all, as with a store that cannot be used. A child that was forked, and
// has started no program of its own, must not use it.
class NSUserDefaults {
 public:
  // The application's own, named by its identifier. Lives as long as the process.
  static NSUserDefaults& standardUserDefaults();
  // A process has one object a suite, shared by all who hold it; the last one to let go closes it.
  static std::shared_ptr<NSUserDefaults> withSuiteName(std::string_view suite);

  ~NSUserDefaults();
  NSUserDefaults(const NSUserDefaults&) = delete;
  NSUserDefaults& operator=(const NSUserDefaults&) = delete;

  // Whether the value is stored now.
  bool setObject(const Value& value, std::string_view key);
  // Unless the key has a value: of several processes that do it at once, one succeeds. Whether the value is
  // stored now, this one or another.
  bool setObjectIfAbsent(const Value& value, std::string_view key);
  void removeObjectForKey(std::string_view key);
  // Several keys in one step, a value of none removing its key: all of them are stored or none, whenever the
  // process ends. A value that is refused refuses them all. A revision makes the new value of the one that is
  // stored by then, or of none, and nobody else changes that meanwhile; it must not use the suite itself, and
  // is made again whenever it could not be stored. One that makes what has no stored form changes nothing.
  using Revision = std::function<std::optional<Value>(const std::optional<Value>& stored)>;
  using Changes = std::vector<std::pair<std::string, std::variant<std::optional<Value>, Revision>>>;
  bool setObjects(const Changes& changes);

  // "Unreadable" where something may be stored that cannot be read for the moment; "none" also where there is
  // no place to store anything.
  Reading<Value> objectForKey(std::string_view key);
  // A stored string, or the text of a stored number.
  Reading<std::string> stringForKey(std::string_view key);
  // None when the stored value is of another kind.
  Reading<Array> arrayForKey(std::string_view key);
  Reading<Dictionary> dictionaryForKey(std::string_view key);

  // Tries again what could not be written. True when everything that was set is stored.
  bool synchronize();
  // What the values are in, for whoever makes them outlive a power failure.
  std::vector<std::string> pathsOfFiles() const { return {path_, path_ + "-wal"}; }

 private:
  explicit NSUserDefaults(std::string path);

  struct Piece;     // what belongs together
  struct Prepared;  // as it is written
  using Lists = std::map<std::string, std::shared_ptr<const StoredList>, std::less<>>;
  // None when a value has no stored form. The lists are those known to be stored.
  static std::optional<Prepared> prepare(const Piece& piece, const Lists& known);
  // None when another process has changed a list meanwhile.
  std::optional<bool> store(const Piece& piece, Prepared prepared);
  bool write(Prepared& prepared) PLATFORM_REQUIRES(mutex_);
  void keepPending(const Piece& piece) PLATFORM_REQUIRES(mutex_);
  void writePending() PLATFORM_REQUIRES(mutex_);
  const Piece* findPending(std::string_view key) const PLATFORM_REQUIRES(mutex_);
  Lists knownLists();

  const std::string path_;
  Mutex mutex_;
  const std::unique_ptr<UserDefaultsDatabase> database_ PLATFORM_PT_GUARDED_BY(mutex_);
  // What could not be written yet, and stands before what the database holds: each key in one piece.
  std::vector<Piece> pending_ PLATFORM_GUARDED_BY(mutex_);
  // As they were stored or read last.
  Lists lists_ PLATFORM_GUARDED_BY(mutex_);
};

}  // namespace platform
