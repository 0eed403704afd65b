#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/foundation/internal/FileDescriptor.h"

namespace platform {

// Held while databases of a directory are opened (shared) or made and moved (exclusive). SQLite finds a log
// by its name: without this lock, a process could join an old database to the log of a new one.
class DirectoryLock {
 public:
  static constexpr std::chrono::milliseconds kPause{2};  // between two tries

  template <class IsTimeLeft>
  DirectoryLock(const std::string& directory, int mode, IsTimeLeft isTimeLeft)
      : file_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (file_.isOpen() && ::flock(file_.number(), mode | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK) return;
      if (!isTimeLeft()) {
        isHeldByAnother_ = true;
        return;
      }
      std::this_thread::sleep_for(kPause);
    }
  }
  // Closing alone would leave the lock with a child that was forked meanwhile.
  ~DirectoryLock() {
    if (file_.isOpen()) ::flock(file_.number(), LOCK_UN);
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  // In vain: another process has kept it. A directory that cannot be opened, or whose file system knows no
  // locks, has none to wait for.
  bool isHeldByAnother() const { return isHeldByAnother_; }

 private:
  const FileDescriptor file_;
  bool isHeldByAnother_ = false;
};

}  // namespace platform
