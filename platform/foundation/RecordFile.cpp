#include "platform/foundation/RecordFile.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>

#include "platform/foundation/LockFile.h"

namespace platform {

namespace {

constexpr std::string_view kMagic = "RECORDS2";

// Before the first record: kMagic. Before each record: its length and its check, as this machine writes
// numbers; no other one reads the file.
struct Frame {
  std::uint32_t length;
  std::uint32_t check;
};
constexpr std::size_t kLongestFile = std::size_t{64} << 20;  // bytes; a longer one is not read

// Tells a record that was written whole from what a file system may leave in its place: FNV-1a, by eight
// bytes at a time.
std::uint32_t checkOf(std::string_view record) {
  std::uint64_t check = 14695981039346656037u;
  const auto take = [&check](std::uint64_t word) {
    check = (check ^ word) * 1099511628211u;
    check ^= check >> 32;
  };
  std::uint64_t word = 0;
  for (; record.size() >= sizeof word; record.remove_prefix(sizeof word)) {
    std::memcpy(&word, record.data(), sizeof word);
    take(word);
  }
  if (!record.empty()) {
    word = 0;
    std::memcpy(&word, record.data(), record.size());
    take(word);
  }
  return static_cast<std::uint32_t>(check);
}

// A write beyond the limit would end the host by a signal.
bool isAllowed(std::uint64_t end) {
  rlimit limit;
  return ::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY || end <= limit.rlim_cur;
}

bool writeAt(int file, std::string_view bytes, std::uint64_t offset) {
  if (!isAllowed(offset + bytes.size())) return false;
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return true;
}

bool cutAt(int file, std::uint64_t size) { return ::ftruncate(file, static_cast<off_t>(size)) == 0; }

std::optional<std::string> readWhole(int file) {
  struct stat facts;
  if (::fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
  const auto size = static_cast<std::size_t>(facts.st_size);
  if (size > kLongestFile) return std::nullopt;
  std::string bytes(size, '\0');
  for (std::size_t length = 0; length < size;) {
    const ssize_t count = ::pread(file, bytes.data() + length, size - length, static_cast<off_t>(length));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    length += static_cast<std::size_t>(count);
  }
  return bytes;
}

void appendFramed(std::string& bytes, std::string_view record) {
  const Frame frame{static_cast<std::uint32_t>(record.size()), checkOf(record)};
  bytes.append(reinterpret_cast<const char*>(&frame), sizeof frame);
  bytes += record;
}

// Where the records are written that are to take the place of all others.
std::string partialOf(const std::string& path) { return path + ".partial"; }

}  // namespace

std::unique_ptr<RecordFile> RecordFile::open(const std::string& path) {
  auto file = LockFile::take(path, LockFile::Missing::Make);
  if (!file) return nullptr;
  std::unique_ptr<RecordFile> records(new RecordFile(path, std::move(file)));
  if (!records->read()) return nullptr;
  // Records behind the foreign end would come back to life when a new one fills the gap.
  if (records->hadForeignEnd_ && records->end_ > 0 && !cutAt(records->file_->number(), records->end_))
    return nullptr;
  return records->end_ > 0 || records->clear() ? std::move(records) : nullptr;
}

RecordFile::RecordFile(std::string path, std::unique_ptr<LockFile> file)
    : path_(std::move(path)), file_(std::move(file)) {}
RecordFile::~RecordFile() = default;

std::optional<std::vector<std::string>> RecordFile::records() {
  found_.clear();
  if (!read()) return std::nullopt;
  return takeRecords();
}

bool RecordFile::read() {
  const auto bytes = readWhole(file_->number());
  if (!bytes) return false;
  hadForeignEnd_ = !bytes->empty();
  if (!bytes->starts_with(kMagic)) return true;
  end_ = kMagic.size();
  std::string_view rest = std::string_view(*bytes).substr(end_);
  for (Frame frame; rest.size() >= sizeof frame;) {
    std::memcpy(&frame, rest.data(), sizeof frame);
    const std::string_view record = rest.substr(sizeof frame, frame.length);
    if (frame.length == 0 || record.size() < frame.length || checkOf(record) != frame.check) break;
    found_.emplace_back(record);
    rest.remove_prefix(sizeof frame + record.size());
    end_ += sizeof frame + record.size();
  }
  hadForeignEnd_ = !rest.empty();
  return true;
}

bool RecordFile::clearAt(const std::string& path) {
  ::unlink(partialOf(path).c_str());
  const auto file = LockFile::take(path, LockFile::Missing::Leave);
  return file && cutAt(file->number(), 0);
}

bool RecordFile::removeAt(const std::string& path) {
  ::unlink(partialOf(path).c_str());
  const auto file = LockFile::take(path, LockFile::Missing::Leave);
  return file && ::unlink(path.c_str()) == 0;
}

bool RecordFile::append(std::string_view record) {
  buffer_.clear();
  appendFramed(buffer_, record);
  if (end_ + buffer_.size() > kLongestFile) return false;
  if (!writeAt(file_->number(), buffer_, end_)) {
    cutAt(file_->number(), end_);
    return false;
  }
  end_ += buffer_.size();
  return true;
}

bool RecordFile::clear() {
  const bool hasHeader = end_ > 0;
  if (!cutAt(file_->number(), hasHeader ? kMagic.size() : 0)) return false;
  if (!hasHeader && !writeAt(file_->number(), kMagic, 0)) return false;
  end_ = kMagic.size();
  return true;
}

bool RecordFile::replaceAll(const std::vector<std::string>& records) {
  std::string bytes(kMagic);
  for (const std::string& record : records) appendFramed(bytes, record);
  const std::string partial = partialOf(path_);
  auto file = LockFile::take(partial, LockFile::Missing::Make);
  if (!file) return false;
  if (!cutAt(file->number(), 0) || !writeAt(file->number(), bytes, 0) ||
      std::rename(partial.c_str(), path_.c_str()) != 0) {
    ::unlink(partial.c_str());
    return false;
  }
  file_ = std::move(file);
  end_ = bytes.size();
  return true;
}

}  // namespace platform
