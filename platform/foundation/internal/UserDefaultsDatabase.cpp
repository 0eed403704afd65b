#include "platform/foundation/internal/UserDefaultsDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <thread>
#include <utility>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/internal/DirectoryLock.h"

namespace platform {

namespace {

constexpr std::chrono::milliseconds kLongestWait{100};
constexpr mode_t kFileMode = 0600;

// After a commit the log is in the file system's hands, which the death of a process leaves alone; the disk
// is waited for only when the log is copied back into the database. A process that ends leaves its log
// behind, and the next one reads it whole before anything else: what it costs to read 300 pages, about
// 1.2 MB, is the most of it. The cache is bounded at 128 KiB.
constexpr int kLongLog = 300;  // pages
constexpr const char* kConnectionSettings =
    "PRAGMA synchronous=NORMAL; PRAGMA cache_size=-128; PRAGMA journal_size_limit=1228800";

// What preparing our statements answers for a sound database whose table is missing, or is another's.
constexpr int kTableMissing = SQLITE_ERROR;
constexpr int kTableForeign = SQLITE_ERROR;

bool isDamage(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

// These pass while the connection stays as it is; after any other failure it is opened anew.
bool isPassing(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_FULL || primary == SQLITE_BUSY || primary == SQLITE_TOOBIG;
}

// 0 where there is no file; none where that cannot be told.
std::optional<std::uint64_t> sizeOf(const std::string& path) {
  struct stat facts;
  if (::stat(path.c_str(), &facts) == 0) return static_cast<std::uint64_t>(facts.st_size);
  return errno == ENOENT || errno == ENOTDIR ? std::optional<std::uint64_t>(0) : std::nullopt;
}

std::string timeForFileName() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return text;
}

}  // namespace

void UserDefaultsDatabase::CloseConnection::operator()(sqlite3* connection) const {
  sqlite3_close_v2(connection);
}

UserDefaultsDatabase::UserDefaultsDatabase(std::string path)
    : path_(std::move(path)), directory_(path_.substr(0, path_.find_last_of('/') + 1)) {}

UserDefaultsDatabase::~UserDefaultsDatabase() { close(); }

Reading<StoredText> UserDefaultsDatabase::read(std::string_view key, std::string_view knownMark) {
  beginWaiting();
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!ensureOpen()) return isUnreadable_ ? Reading<StoredText>::unreadable() : std::nullopt;
    std::optional<StoredText> stored;
    const int code = tables_->read(key, knownMark, stored);
    noteOutcome(code);
    if (code == SQLITE_OK) return stored;
    if (!overcome(code)) return Reading<StoredText>::unreadable();
  }
  return std::nullopt;
}

bool UserDefaultsDatabase::write(const Changes& changes, const Revisions& revisions) {
  beginWaiting();
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!ensureOpen()) return false;
    const int code = tables_->write(changes, revisions);
    noteOutcome(code);
    isOutdated_ = code == UserDefaultsTables::kOutdated;
    if (code == SQLITE_OK || isOutdated_) return !isOutdated_;
    if (!overcome(code)) return false;
  }
  return false;
}

bool UserDefaultsDatabase::writeIfAbsent(std::string_view key, const std::string& text) {
  beginWaiting();
  const int code = ensureOpen() ? tables_->writeIfAbsent(key, text) : SQLITE_CANTOPEN;
  noteOutcome(code);
  return code == SQLITE_OK;
}

void UserDefaultsDatabase::beginWaiting() {
  deadline_ = std::chrono::steady_clock::now();
  if (!hasWaitedInVain_) deadline_ += kLongestWait;
}

void UserDefaultsDatabase::noteOutcome(int code) { hasWaitedInVain_ = (code & 0xff) == SQLITE_BUSY; }

int UserDefaultsDatabase::waitForOthers(void* self, int) {
  if (!static_cast<UserDefaultsDatabase*>(self)->isTimeLeft()) return 0;
  std::this_thread::sleep_for(DirectoryLock::kPause);
  return 1;
}

// By itself SQLite begins the log anew only at the next commit: processes that commit once and end would let
// it grow without bound. While another process reads or writes it stays as it is; nobody waits for that.
int UserDefaultsDatabase::emptyLongLog(void* self, sqlite3* connection, const char* database, int pages) {
  if (pages < kLongLog) return SQLITE_OK;
  static_cast<UserDefaultsDatabase*>(self)->deadline_ = {};
  sqlite3_wal_checkpoint_v2(connection, database, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
  return SQLITE_OK;
}

bool UserDefaultsDatabase::ensureOpen() {
  if (connection_ && !isStale()) return true;
  close();
  isUnreadable_ = false;
  if (path_.empty()) {
    report(SQLITE_CANTOPEN, "no preferences directory is installed");
    return false;
  }
  NSFileManager().createDirectory(directory_, true);
  const int code = openOrReplace();
  noteOutcome(code);
  if (code == SQLITE_OK) return true;
  report(code, connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code));
  if (isCompleteWithoutLog(code) && connectImmutable() == SQLITE_OK) return true;
  isUnreadable_ = mayHoldSomething(code);
  close();
  return false;
}

int UserDefaultsDatabase::openOrReplace() {
  {
    const DirectoryLock opening(directory_, LOCK_SH, [this] { return isTimeLeft(); });
    if (!opening.isHeldByAnother() && connect() == SQLITE_OK) return SQLITE_OK;
  }
  const DirectoryLock making(directory_, LOCK_EX, [this] { return isTimeLeft(); });
  if (making.isHeldByAnother()) {
    close();
    return SQLITE_BUSY;
  }
  // Another process may have made or replaced it meanwhile.
  int code = connectOrMake();
  if (isDamage(code) || code == kTableForeign || NSFileManager().fileExists(path_) == FileKind::Directory) {
    moveAside(isDamage(code) ? "is damaged" : "is another's");
    code = connectOrMake();
  }
  return code;
}

bool UserDefaultsDatabase::mayHoldSomething(int code) const {
  if (isDamage(code) || code == kTableForeign) return false;
  if ((code & 0xff) == SQLITE_BUSY) return true;
  return sizeOf(path_) != 0 || sizeOf(path_ + "-wal") != 0;
}

// Where nothing can be written, or nothing has been since the last checkpoint.
bool UserDefaultsDatabase::isCompleteWithoutLog(int code) const {
  if ((code & 0xff) == SQLITE_BUSY) return false;
  if (sizeOf(path_ + "-wal") == 0) return true;
  return ::access(directory_.c_str(), W_OK) != 0 && (errno == EROFS || errno == EACCES || errno == EPERM);
}

int UserDefaultsDatabase::connect() {
  close();
  // SQLite would take a database that was cut to nothing for a new one, and delete its log.
  if (sizeOf(path_) == 0 && sizeOf(path_ + "-wal").value_or(0) > 0) return SQLITE_CORRUPT;
  // SQLite gives its log and index the mode of the database, which it would let everybody read.
  const int made = ::open(path_.c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
  if (made >= 0) ::close(made);
  const int code = open(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  return code == SQLITE_OK ? tables_->prepareAll() : code;
}

int UserDefaultsDatabase::connectOrMake() {
  const int code = connect();
  return code == kTableMissing ? tables_->create() : code;
}

int UserDefaultsDatabase::open(const std::string& name, int flags) {
  sqlite3* connection = nullptr;
  const int code = sqlite3_open_v2(
      name.c_str(), &connection,
      flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE, nullptr);
  connection_.reset(connection);
  if (connection) tables_.emplace(*connection);
  if (code != SQLITE_OK) return code;
  sqlite3_db_config(connection, SQLITE_DBCONFIG_LOOKASIDE, nullptr, 256, 64);
  sqlite3_busy_handler(connection, waitForOthers, this);
  sqlite3_wal_hook(connection, emptyLongLog, this);
  return sqlite3_exec(connection, kConnectionSettings, nullptr, nullptr, nullptr);
}

// Where nothing can be created, SQLite cannot share a database with a log; but nobody else can write to it
// either. On a full disk somebody may, once there is room: the next set opens it anew.
int UserDefaultsDatabase::connectImmutable() {
  close();
  std::string name = "file:";
  for (const char c : path_) {
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(c));
    c == '/' ? name += c : name += escaped;
  }
  const int code = open(name + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  return code == SQLITE_OK ? tables_->prepareToRead() : code;
}

void UserDefaultsDatabase::close() {
  tables_.reset();
  connection_.reset();
}

bool UserDefaultsDatabase::isStale() const {
  int moved = 0;
  sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

// The connection is closed after the files have moved: SQLite sees that, and neither writes the log into the
// damaged file nor deletes it. The database itself goes last, so that its log never stands alone under the
// old name.
void UserDefaultsDatabase::moveAside(std::string_view fault) {
  const NSFileManager files;
  const std::string stem = path_ + ".corrupt-" + timeForFileName();
  std::string aside = stem;
  for (int i = 2; files.fileExists(aside) != FileKind::None; ++i) aside = stem + "-" + std::to_string(i);
  bool moved = false;
  for (const char* suffix : {"-wal", "-shm", "-journal", ""}) {
    moved = std::rename((path_ + suffix).c_str(), (aside + suffix).c_str()) == 0;
  }
  close();
  if (moved) {
    reports_.push_back("NSUserDefaults: the database " + path_ + " " + std::string(fault) +
                       ". It was moved to " + aside + ", and a new one begun.");
  } else {
    report(SQLITE_CORRUPT, "it " + std::string(fault) + " and cannot be moved aside");
  }
}

bool UserDefaultsDatabase::overcome(int code) {
  if (isDamage(code)) {
    const DirectoryLock moving(directory_, LOCK_EX, [this] { return isTimeLeft(); });
    if (!moving.isHeldByAnother() && !isStale()) moveAside("is damaged");
    close();
    return true;
  }
  report(code, sqlite3_errstr(code));
  if (!isPassing(code)) close();
  return false;
}

void UserDefaultsDatabase::report(int code, std::string_view explanation) {
  if (!reportedCauses_.insert(code & 0xff).second) return;
  reports_.push_back("NSUserDefaults: " + (path_.empty() ? std::string("a suite") : path_) +
                     " cannot be used: " + std::string(explanation) +
                     ". What is set is kept in memory and written as soon as a later set succeeds.");
}

}  // namespace platform
