#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

// Owns a descriptor, and closes it on every way out. A negative number is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number) : number_(number) {}
  ~FileDescriptor() {
    const int failure = errno;  // of what was done with it, for the caller to see
    close();
    errno = failure;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  // False when the file system reports only now that it could not keep what was written.
  bool close() { return number_ < 0 || ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

}  // namespace platform
