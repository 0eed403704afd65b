#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class FileDescriptor;

// Records that are on their way to disk when append() returns: a file that only grows, until it begins anew.
// What has been appended outlives the process, however that ends; a power failure may take the newest
// records.
//
// Held by one process at a time. No locks of its own: one thread at a time. Nothing throws but for want of
// memory.
class RecordFile {
 public:
  // Opens the file, or makes it, for the user alone. Null when it cannot be had: no directory, no right to
  // write, no descriptor, a lock that another process holds.
  static std::unique_ptr<RecordFile> open(const std::string& path);
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // The number that the file has begun with; 0 for a new one, and for one that was not such a file.
  std::uint64_t generation() const { return generation_; }
  // What was found when the file was opened, oldest first, up to the first record that is not whole.
  std::vector<std::string> takeRecords() { return std::move(found_); }
  // Whether something stood behind those, or the file was another's.
  bool hadForeignEnd() const { return hadForeignEnd_; }

  // False when it could not be written; nothing of it is kept then.
  bool append(std::string_view record);
  // Whether anything has been kept since the file began.
  bool isEmpty() const;
  // Begins anew, empty, with that number. Should the process end meanwhile, the file is empty or as before.
  bool restart(std::uint64_t generation);

 private:
  explicit RecordFile(std::unique_ptr<FileDescriptor> file);
  void read();

  const std::unique_ptr<FileDescriptor> file_;
  std::uint64_t generation_ = 0;
  std::uint64_t end_ = 0;  // where the next record goes, in bytes; 0 when there is no header yet
  std::vector<std::string> found_;
  bool hadForeignEnd_ = false;
  std::string buffer_;  // of the record that is being written
};

}  // namespace platform
