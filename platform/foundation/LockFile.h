#pragma once

#include <memory>
#include <string>

namespace platform {

class FileDescriptor;

// A file that one process at a time holds, by a lock that goes with the process, however that ends. The lock
// asks nothing of the file's contents: an empty one will do, also on a full disk. A child that is forked has
// no part in it. Whoever opens the file anew is another one, also within this process.
//
// Nothing waits and nothing throws.
class LockFile {
 public:
  enum class Missing { Make, Leave };
  // Takes the lock of the file at the path; one that is made is for the user alone. Null when it cannot be
  // had, with the error of the system in `failure`: EWOULDBLOCK when somebody holds it.
  static std::unique_ptr<LockFile> take(const std::string& path, Missing missing, int* failure = nullptr);
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  // Open for reading and writing.
  int number() const;

 private:
  explicit LockFile(int number);
  bool isStillAt(const std::string& path) const;
  // Why it cannot be had; 0 when it can.
  int lock();

  const std::unique_ptr<FileDescriptor> file_;
  bool isLocked_ = false;
};

}  // namespace platform
