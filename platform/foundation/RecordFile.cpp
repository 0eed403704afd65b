#include "platform/foundation/RecordFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstring>
#include <optional>

#include "platform/foundation/internal/FileDescriptor.h"

namespace platform {

namespace {

constexpr mode_t kFileMode = 0600;
constexpr std::string_view kMagic = "RECORDS1";

// Before the first record: kMagic and the generation. Before each record: its length and its check. Numbers
// as this machine writes them; no other one reads the file.
constexpr std::size_t kHeaderSize = kMagic.size() + sizeof(std::uint64_t);
struct Frame {
  std::uint32_t length;
  std::uint32_t check;
};

// FNV-1a: tells a record that was written whole from what a file system may leave in its place.
std::uint32_t checkOf(std::string_view record) {
  std::uint32_t check = 2166136261u;
  for (const char byte : record) check = (check ^ static_cast<unsigned char>(byte)) * 16777619u;
  return check;
}

bool writeAt(int file, std::string_view bytes, std::uint64_t offset) {
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
  std::string bytes(static_cast<std::size_t>(facts.st_size), '\0');
  for (std::size_t length = 0; length < bytes.size();) {
    const ssize_t count =
        ::pread(file, bytes.data() + length, bytes.size() - length, static_cast<off_t>(length));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    length += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace

std::unique_ptr<RecordFile> RecordFile::open(const std::string& path) {
  auto file = std::make_unique<FileDescriptor>(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kFileMode));
  if (!file->isOpen() || ::flock(file->number(), LOCK_EX | LOCK_NB) != 0) return nullptr;
  std::unique_ptr<RecordFile> records(new RecordFile(std::move(file)));
  records->read();
  if (records->end_ == 0 && !records->restart(0)) return nullptr;
  return records;
}

RecordFile::RecordFile(std::unique_ptr<FileDescriptor> file) : file_(std::move(file)) {}
// Closing alone would leave the lock with a child that was forked meanwhile.
RecordFile::~RecordFile() { ::flock(file_->number(), LOCK_UN); }

bool RecordFile::isEmpty() const { return end_ == kHeaderSize; }

void RecordFile::read() {
  const std::string bytes = readWhole(file_->number()).value_or("");
  hadForeignEnd_ = !bytes.empty();
  if (bytes.size() < kHeaderSize || !bytes.starts_with(kMagic)) return;
  std::memcpy(&generation_, bytes.data() + kMagic.size(), sizeof generation_);
  end_ = kHeaderSize;
  std::string_view rest = std::string_view(bytes).substr(kHeaderSize);
  for (Frame frame; rest.size() >= sizeof frame;) {
    std::memcpy(&frame, rest.data(), sizeof frame);
    const std::string_view record = rest.substr(sizeof frame, frame.length);
    if (frame.length == 0 || record.size() < frame.length || checkOf(record) != frame.check) break;
    found_.emplace_back(record);
    rest.remove_prefix(sizeof frame + record.size());
    end_ += sizeof frame + record.size();
  }
  hadForeignEnd_ = !rest.empty();
}

bool RecordFile::append(std::string_view record) {
  const Frame frame{static_cast<std::uint32_t>(record.size()), checkOf(record)};
  buffer_.assign(reinterpret_cast<const char*>(&frame), sizeof frame);
  buffer_ += record;
  if (!writeAt(file_->number(), buffer_, end_)) {
    cutAt(file_->number(), end_);
    return false;
  }
  end_ += buffer_.size();
  return true;
}

bool RecordFile::restart(std::uint64_t generation) {
  std::string header(kMagic);
  header.append(reinterpret_cast<const char*>(&generation), sizeof generation);
  // The records go first: under the new number they would count as new.
  if (!cutAt(file_->number(), end_ == 0 ? 0 : kHeaderSize)) return false;
  end_ = kHeaderSize;
  if (!writeAt(file_->number(), header, 0)) return false;
  generation_ = generation;
  return true;
}

}  // namespace platform
