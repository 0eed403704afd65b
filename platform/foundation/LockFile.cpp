#include "platform/foundation/LockFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

#include "platform/foundation/internal/FileDescriptor.h"
#include "platform/runtime/Fork.h"

namespace platform {

namespace {

constexpr mode_t kFileMode = 0600;
constexpr int kMostTries = 8;  // a file is seldom replaced, and never so often in a row

// The descriptors in use, each in a place of its own. A child that was forked closes them: the lock is one of
// the open file, and would stay with the child when this process ends.
constexpr int kNone = -1;
std::array<std::atomic<int>, 64>& descriptorsInUse() {
  static auto& descriptors = *[] {
    auto* all = new std::array<std::atomic<int>, 64>;
    for (auto& place : *all) place = kNone;
    runInForkedChildren([] {
      for (auto& place : descriptorsInUse()) {
        if (const int number = place.exchange(kNone); number != kNone) ::close(number);
      }
    });
    return all;
  }();
  return descriptors;
}

void replaceInUse(int from, int to) {
  for (auto& place : descriptorsInUse()) {
    int expected = from;
    if (place.compare_exchange_strong(expected, to)) return;
  }
}

}  // namespace

std::unique_ptr<LockFile> LockFile::take(const std::string& path, Missing missing, int* failure) {
  const int create = missing == Missing::Make ? O_CREAT : 0;
  int why = ESTALE;
  for (int tries = 0; tries < kMostTries; ++tries) {
    std::unique_ptr<LockFile> file(
        new LockFile(::open(path.c_str(), O_RDWR | create | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kFileMode)));
    why = file->lock();
    if (why != 0) break;
    if (file->isStillAt(path)) return file;
    why = ESTALE;
  }
  if (failure) *failure = why;
  return nullptr;
}

LockFile::LockFile(int number) : file_(std::make_unique<FileDescriptor>(number)) {}

int LockFile::number() const { return file_->number(); }

int LockFile::lock() {
  if (!file_->isOpen() || ::flock(number(), LOCK_EX | LOCK_NB) != 0) return errno;
  isLocked_ = true;
  replaceInUse(kNone, number());
  return 0;
}

// Closing alone would leave the lock with a child that is just being forked.
LockFile::~LockFile() {
  if (!isLocked_) return;
  ::flock(number(), LOCK_UN);
  replaceInUse(number(), kNone);
}

// The file may have been replaced or removed before the lock was had.
bool LockFile::isStillAt(const std::string& path) const {
  struct stat locked;
  struct stat named;
  return ::fstat(number(), &locked) == 0 && ::stat(path.c_str(), &named) == 0 &&
         locked.st_ino == named.st_ino && locked.st_dev == named.st_dev;
}

}  // namespace platform
