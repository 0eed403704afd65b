#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class LockFile;

// Records that are on their way to disk when append() returns: a file that only grows, until it is cleared.
// What has been appended outlives the process, however that ends; a power failure may take the newest
// records.
//
// Written by a system call, and not mapped: what happens to the file, cut, full, or forbidden by a limit, is
// an answer and never a signal.
//
// Held by one process at a time; a child that is forked has no part in it. No locks of its own: one thread at
// a time. Nothing throws but for want of memory.
class RecordFile {
 public:
  // Opens the file, or makes it, for the user alone. Null when it cannot be had: no directory, no right to
  // read and write, no descriptor, a lock that another process holds, a size that no such file has.
  static std::unique_ptr<RecordFile> open(const std::string& path);
  ~RecordFile();

  // Drops all records of the file at the path, or the file itself, whatever is in it. False when there is
  // none, or it cannot be had.
  static bool clearAt(const std::string& path);
  static bool removeAt(const std::string& path);

  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // What the records of the file at the path take, in bytes; nothing when there is none.
  static std::uint64_t sizeAt(const std::string& path);

  // What was found when the file was opened, oldest first, up to the first record that is not whole.
  std::vector<std::string> takeRecords() { return std::move(found_); }
  // Whether something stood behind those, or the file was another's.
  bool hadForeignEnd() const { return hadForeignEnd_; }

  // In bytes.
  std::uint64_t size() const { return end_; }

  // False when it could not be written; nothing of it is kept then.
  bool append(std::string_view record);
  // Drops all records. False when it could not.
  bool clear();
  // Puts the records in the place of all others, in one step, which a power failure undoes at most. Waits for
  // the disk. False when it could not; nothing has changed then.
  bool replaceAll(const std::vector<std::string>& records);
  // The same for what stood there at an earlier size; what has been appended since stays behind it. For large
  // files: the records are read, and the others written, while another thread appends; nothing else may
  // happen to the file meanwhile.
  struct Draft;
  std::optional<std::vector<std::string>> recordsUpTo(std::uint64_t size) const;
  std::shared_ptr<Draft> draft(const std::vector<std::string>& records) const;  // null when it cannot be had
  bool replaceUpTo(std::uint64_t size, const std::shared_ptr<Draft>& draft);

 private:
  RecordFile(std::string path, std::unique_ptr<LockFile> file);
  bool read();

  const std::string path_;
  std::unique_ptr<LockFile> file_;
  std::uint64_t end_ = 0;  // where the next record goes, in bytes; 0 when there is no header yet
  std::vector<std::string> found_;
  bool hadForeignEnd_ = false;
  std::string buffer_;  // of the record that is being written
};

}  // namespace platform
