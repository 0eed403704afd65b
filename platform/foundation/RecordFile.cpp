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

std::optional<std::string> readAt(int file, std::size_t offset, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t length = 0; length < size;) {
    const ssize_t count =
        ::pread(file, bytes.data() + length, size - length, static_cast<off_t>(offset + length));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    length += static_cast<std::size_t>(count);
  }
  return bytes;
}

std::optional<std::string> readWhole(int file) {
  struct stat facts;
  if (::fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
  const auto size = static_cast<std::size_t>(facts.st_size);
  return size > kLongestFile ? std::nullopt : readAt(file, 0, size);
}

// The records behind the magic, up to the first one that is not whole; answers where that is.
std::size_t takeRecordsOf(std::string_view bytes, std::vector<std::string>& records) {
  std::size_t end = kMagic.size();
  std::string_view rest = bytes.substr(end);
  for (Frame frame; rest.size() >= sizeof frame;) {
    std::memcpy(&frame, rest.data(), sizeof frame);
    const std::string_view record = rest.substr(sizeof frame, frame.length);
    if (frame.length == 0 || record.size() < frame.length || checkOf(record) != frame.check) break;
    records.emplace_back(record);
    rest.remove_prefix(sizeof frame + record.size());
    end += sizeof frame + record.size();
  }
  return end;
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

bool RecordFile::read() {
  const auto bytes = readWhole(file_->number());
  if (!bytes) return false;
  hadForeignEnd_ = !bytes->empty();
  if (!bytes->starts_with(kMagic)) return true;
  end_ = takeRecordsOf(*bytes, found_);
  hadForeignEnd_ = end_ < bytes->size();
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

std::uint64_t RecordFile::sizeAt(const std::string& path) {
  struct stat facts;
  const bool isThere = ::stat(path.c_str(), &facts) == 0;
  const auto size = isThere ? static_cast<std::uint64_t>(facts.st_size) : 0;
  return size - std::min(size, std::uint64_t{kMagic.size()});
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

// The file that is to take the place of this one; gone unless it has.
struct RecordFile::Draft {
  ~Draft() {
    if (file) ::unlink(path.c_str());
  }
  std::string path;
  std::unique_ptr<LockFile> file;
  std::uint64_t end = 0;
};

bool RecordFile::replaceAll(const std::vector<std::string>& records) {
  const auto all = draft(records);
  return all && replaceUpTo(end_, all);
}

std::optional<std::vector<std::string>> RecordFile::recordsUpTo(std::uint64_t size) const {
  const auto bytes = readAt(file_->number(), 0, size);
  if (!bytes || !bytes->starts_with(kMagic)) return std::nullopt;
  std::vector<std::string> records;
  takeRecordsOf(*bytes, records);
  return records;
}

std::shared_ptr<RecordFile::Draft> RecordFile::draft(const std::vector<std::string>& records) const {
  std::string bytes(kMagic);
  for (const std::string& record : records) appendFramed(bytes, record);
  const auto made = std::make_shared<Draft>();
  made->path = partialOf(path_);
  made->file = LockFile::take(made->path, LockFile::Missing::Make);
  made->end = bytes.size();
  // On disk before it takes the other's place: a file system may put the new name there ahead of the
  // contents.
  const bool isWritten = made->file && cutAt(made->file->number(), 0) &&
                         writeAt(made->file->number(), bytes, 0) && ::fdatasync(made->file->number()) == 0;
  return isWritten ? made : nullptr;
}

bool RecordFile::replaceUpTo(std::uint64_t size, const std::shared_ptr<Draft>& draft) {
  const auto behind = readAt(file_->number(), size, end_ - size);
  if (!behind || !writeAt(draft->file->number(), *behind, draft->end) ||
      std::rename(draft->path.c_str(), path_.c_str()) != 0) {
    return false;
  }
  file_ = std::move(draft->file);
  end_ = draft->end + behind->size();
  return true;
}

}  // namespace platform
