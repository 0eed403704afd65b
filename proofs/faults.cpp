// A library to be preloaded into a host: it fails the n-th call of a kind, or kills the process there, as
// the environment says. Calls go on as bare system calls, so that nothing below it needs to be looked up.
//
//   FAULT         "KIND N once|ever|before|after|short ERRNO": the N-th call, counted from 1, fails; so do
//                 all after it; the process is killed before it, or after it; half of it is written. Up to
//                 two of these, with a ";" between them
//   FAULT_FIRED   a file that takes a byte for each of them as soon as it has happened
//   FAULT_HELD    when set, nothing counts until faults_arm(1)
//   FAULT_RECORD  a file that takes a record of whatever changes regular files, see Change
//
// Not seen: calls that libc makes for itself (stdio, opendir), and what is written to pipes and sockets by
// write(), which fails in no such way.

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
}

namespace {

enum class Mode { None, Once, Ever, Before, After, Short };

struct Plan {
  char kind[16] = "";
  long call = 0;  // counted from 1
  Mode mode = Mode::None;
  int error = 0;
  std::atomic<long> calls = 0;  // so far
};

Plan plans[2];
std::atomic<bool> isArmed = false;
int recordFile = -1;

// Before `pathLength` bytes of path and `length` bytes of content, in FAULT_RECORD.
struct Change {
  char what;  // o(pened for writing, made or not), w(ritten), c(ut), r(enamed, with a zero between the
              // names), u(nlinked), s(ynced)
  std::uint64_t file;  // inode
  std::uint64_t offset;
  std::uint32_t pathLength;
  std::uint32_t length;
};

void read(Plan& plan, const char* text) {
  char mode[8] = "";
  if (std::sscanf(text, "%15s %ld %7s %d", plan.kind, &plan.call, mode, &plan.error) != 4) return;
  const char* names[] = {"once", "ever", "before", "after", "short"};
  for (int i = 0; i < 5; ++i)
    if (std::strcmp(mode, names[i]) == 0) plan.mode = static_cast<Mode>(i + 1);
}

// What the environment says, before main() and before other libraries are made ready.
struct Setting {
  Setting() {
    const char* fault = std::getenv("FAULT");
    if (fault) read(plans[0], fault);
    if (const char* second = fault ? std::strchr(fault, ';') : nullptr) read(plans[1], second + 1);
    if (const char* path = std::getenv("FAULT_RECORD"))
      recordFile = static_cast<int>(
          syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    isArmed = plans[0].mode != Mode::None && !std::getenv("FAULT_HELD");
  }
} const setting;

void tellFired() {
  if (const char* path = std::getenv("FAULT_FIRED")) {
    const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (file < 0) return;
    syscall(SYS_write, file, "!", 1);
    syscall(SYS_close, file);
  }
}

void killProcess() { syscall(SYS_kill, getpid(), SIGKILL); }

// One call of a kind: `fails` when it must not be made, with errno set.
class Call {
 public:
  explicit Call(const char* kind) {
    if (!isArmed) return;
    for (Plan& plan : plans) {
      if (std::strcmp(kind, plan.kind) == 0) meet(plan);
    }
    if (error_ != 0) errno = error_;
  }
  ~Call() {
    if (killsAfter_) killProcess();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Of so many bytes, those that are written.
  std::size_t part(std::size_t size) const { return isShort_ ? (size + 1) / 2 : size; }

  bool fails = false;

 private:
  void meet(Plan& plan) {
    const long number = ++plan.calls;
    if (number < plan.call || (number > plan.call && plan.mode != Mode::Ever)) return;
    if (number == plan.call) tellFired();
    if (plan.mode == Mode::Before) killProcess();
    if (plan.mode == Mode::After) killsAfter_ = true;
    if (plan.mode == Mode::Short) isShort_ = true;
    if (plan.mode != Mode::Once && plan.mode != Mode::Ever) return;
    fails = true;
    error_ = plan.error;
  }

  bool killsAfter_ = false;
  bool isShort_ = false;
  int error_ = 0;
};

bool factsOf(int file, struct stat& facts) { return fstat(file, &facts) == 0 && S_ISREG(facts.st_mode); }
bool isRegular(int file) {
  struct stat facts;
  return factsOf(file, facts);
}

// One system call a record; the kernel appends each whole.
void record(char what, int file, std::uint64_t offset, const char* path, std::size_t pathLength,
            const void* bytes = nullptr, std::size_t length = 0) {
  struct stat facts {};
  if (recordFile < 0 || (file >= 0 && !factsOf(file, facts))) return;
  Change change{what, facts.st_ino, offset, static_cast<std::uint32_t>(pathLength),
                static_cast<std::uint32_t>(length)};
  static char buffer[1 << 22];
  static std::atomic_flag isBusy = ATOMIC_FLAG_INIT;
  while (isBusy.test_and_set(std::memory_order_acquire)) sched_yield();
  std::size_t end = 0;
  const auto add = [&end](const void* part, std::size_t size) {
    if (end + size <= sizeof buffer) std::memcpy(buffer + end, part, size);
    end += size;
  };
  add(&change, sizeof change);
  if (pathLength) add(path, pathLength);
  if (length) add(bytes, length);
  if (end <= sizeof buffer) syscall(SYS_write, recordFile, buffer, end);
  isBusy.clear(std::memory_order_release);
}

std::uint64_t placeIn(int file) { return static_cast<std::uint64_t>(syscall(SYS_lseek, file, 0, SEEK_CUR)); }

int openAt(int folder, const char* path, int flags, mode_t rights) {
  const Call call("open");
  if (call.fails) return -1;
  const int file = static_cast<int>(syscall(SYS_openat, folder, path, flags, rights));
  if (file >= 0 && (flags & O_ACCMODE) != O_RDONLY) record('o', file, 0, path, std::strlen(path));
  return file;
}

bool hasRights(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

int synced(const char* kind, int file, long number) {
  const Call call(kind);
  if (call.fails) return -1;
  const int result = static_cast<int>(syscall(number, file));
  if (result == 0) record('s', file, 0, nullptr, 0);
  return result;
}

}  // namespace

// The body of a function that is called as open() is: the file's rights come last, where they are needed.
#define OPENED(folder)                                               \
  va_list more;                                                      \
  va_start(more, flags);                                             \
  const mode_t rights = hasRights(flags) ? va_arg(more, mode_t) : 0; \
  va_end(more);                                                      \
  return openAt(folder, path, flags, rights)

extern "C" {

void faults_arm(int arms) { isArmed = arms != 0 && plans[0].mode != Mode::None; }

int open(const char* path, int flags, ...) { OPENED(AT_FDCWD); }
int open64(const char* path, int flags, ...) { OPENED(AT_FDCWD); }
int openat(int folder, const char* path, int flags, ...) { OPENED(folder); }
int openat64(int folder, const char* path, int flags, ...) { OPENED(folder); }

ssize_t write(int file, const void* bytes, size_t size) {
  if (!isRegular(file)) return syscall(SYS_write, file, bytes, size);
  const Call call("write");
  if (call.fails) return -1;
  const std::uint64_t offset = placeIn(file);
  const ssize_t written = syscall(SYS_write, file, bytes, call.part(size));
  if (written > 0) record('w', file, offset, nullptr, 0, bytes, static_cast<std::size_t>(written));
  return written;
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  const Call call("pwrite");
  if (call.fails) return -1;
  const ssize_t written = syscall(SYS_pwrite64, file, bytes, call.part(size), offset);
  if (written > 0)
    record('w', file, static_cast<std::uint64_t>(offset), nullptr, 0, bytes,
           static_cast<std::size_t>(written));
  return written;
}
ssize_t pwrite64(int file, const void* bytes, size_t size, off_t offset) {
  return pwrite(file, bytes, size, offset);
}

ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
  const Call call("pread");
  return call.fails ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}
ssize_t pread64(int file, void* bytes, size_t size, off_t offset) { return pread(file, bytes, size, offset); }

int ftruncate(int file, off_t size) noexcept {
  const Call call("ftruncate");
  if (call.fails) return -1;
  const int result = static_cast<int>(syscall(SYS_ftruncate, file, size));
  if (result == 0) record('c', file, static_cast<std::uint64_t>(size), nullptr, 0);
  return result;
}
int ftruncate64(int file, off_t size) noexcept { return ftruncate(file, size); }

int fsync(int file) { return synced("fsync", file, SYS_fsync); }
int fdatasync(int file) { return synced("fdatasync", file, SYS_fdatasync); }

int rename(const char* from, const char* to) noexcept {
  const Call call("rename");
  if (call.fails) return -1;
  const int result = static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
  char names[8192];
  const int length = std::snprintf(names, sizeof names, "%s%c%s", from, 0, to);
  if (result == 0) record('r', -1, 0, names, static_cast<std::size_t>(length));
  return result;
}

int unlink(const char* path) noexcept {
  const Call call("unlink");
  if (call.fails) return -1;
  const int result = static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
  if (result == 0) record('u', -1, 0, path, std::strlen(path));
  return result;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"  // struct flock has the same name
int flock(int file, int operation) noexcept {
  const Call call("flock");
  return call.fails ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}
#pragma GCC diagnostic pop

void* mmap(void* place, size_t size, int protection, int flags, int file, off_t offset) noexcept {
  const Call call("mmap");
  if (call.fails) return MAP_FAILED;
  return reinterpret_cast<void*>(syscall(SYS_mmap, place, size, protection, flags, file, offset));
}
void* mmap64(void* place, size_t size, int protection, int flags, int file, off_t offset) noexcept {
  return mmap(place, size, protection, flags, file, offset);
}

int connect(int socket, const sockaddr* address, socklen_t length) {
  const Call call("connect");
  return call.fails ? -1 : static_cast<int>(syscall(SYS_connect, socket, address, length));
}

ssize_t send(int socket, const void* bytes, size_t size, int flags) {
  const Call call("send");
  return call.fails ? -1 : syscall(SYS_sendto, socket, bytes, size, flags, nullptr, 0);
}

ssize_t recv(int socket, void* bytes, size_t size, int flags) {
  const Call call("recv");
  return call.fails ? -1 : syscall(SYS_recvfrom, socket, bytes, size, flags, nullptr, nullptr);
}

// Whatever is allocated, operator new included, which takes its memory here.
void* malloc(size_t size) noexcept {
  const Call call("malloc");
  return call.fails ? nullptr : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  const Call call("malloc");
  return call.fails ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* old, size_t size) noexcept {
  const Call call("malloc");
  return call.fails ? nullptr : __libc_realloc(old, size);
}

}  // extern "C"
