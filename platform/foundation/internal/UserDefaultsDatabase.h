#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Reading.h"
#include "platform/foundation/internal/StoredList.h"
#include "platform/foundation/internal/UserDefaultsTables.h"

namespace platform {

// The database file behind one suite of user defaults: texts by key, in SQLite with a write-ahead log.
//
// Opened at the first use and whenever the file at the path is no longer the one that was opened. What is
// damaged, or is no database of this form, is moved aside, a new one begun, and the operation tried again.
// What cannot be done is answered by false or nothing, and the reason put into words once; it may be tried
// again at any time. Processes exclude each other by SQLite's locks; opening, making and moving aside by a
// lock on the directory. An operation waits for other processes for 100 ms at most, and those after one
// that has waited in vain do not wait at all until one succeeds.
//
// Owned and guarded by its NSUserDefaults; not thread-safe.
class UserDefaultsDatabase {
 public:
  // The directory need not exist yet. An empty path stands for a store that cannot be opened.
  explicit UserDefaultsDatabase(std::string path);
  ~UserDefaultsDatabase();
  UserDefaultsDatabase(const UserDefaultsDatabase&) = delete;
  UserDefaultsDatabase& operator=(const UserDefaultsDatabase&) = delete;

  // Unreadable when something may be stored that cannot be read for the moment; a place that is missing, that
  // can never be read, or that only cannot be written to, is none of that.
  // The items of a list come with its mark, unless that is the known one.
  Reading<StoredText> read(std::string_view key, std::string_view knownMark = {});
  // By key.
  using Changes = UserDefaultsTables::Changes;
  using Revisions = UserDefaultsTables::Revisions;
  // In one step: all of them, or none, and no other process writes meanwhile. On true they outlive the
  // process.
  bool write(const Changes& changes, const Revisions& revisions = {});
  // Whether the last write did nothing because a list is no longer the one that it was to change.
  bool isOutdated() const { return isOutdated_; }
  // Unless the key has a text. True when it has one now.
  bool writeIfAbsent(std::string_view key, const std::string& text);

  // A failure that is met from now on is reported again.
  void forgetReportedFailures() { reportedCauses_.clear(); }
  // What is to be logged since the last call.
  std::vector<std::string> takeReports() { return std::exchange(reports_, {}); }

 private:
  struct CloseConnection {
    void operator()(sqlite3* connection) const;
  };
  void beginWaiting();
  void noteOutcome(int code);
  bool isTimeLeft() const { return std::chrono::steady_clock::now() < deadline_; }
  static int waitForOthers(void* self, int);
  static int emptyLongLog(void* self, sqlite3* connection, const char* database, int pages);

  bool ensureOpen();
  int openOrReplace();
  bool mayHoldSomething(int code) const;
  bool isCompleteWithoutLog(int code) const;
  int connect();
  int connectOrMake();
  int open(const std::string& name, int flags);
  int connectImmutable();
  void close();
  bool isStale() const;
  void moveAside(std::string_view fault);

  // Whether to try again: the cause has been removed.
  bool overcome(int code);
  void report(int code, std::string_view explanation);

  const std::string path_;
  const std::string directory_;
  std::unique_ptr<sqlite3, CloseConnection> connection_;
  std::optional<UserDefaultsTables> tables_;  // of the connection
  // Why it could not be opened: something is there that cannot be read for the moment.
  bool isUnreadable_ = false;
  std::chrono::steady_clock::time_point deadline_;
  bool hasWaitedInVain_ = false;
  bool isOutdated_ = false;
  std::set<int> reportedCauses_;
  std::vector<std::string> reports_;
};

}  // namespace platform
