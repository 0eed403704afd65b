#include "platform/foundation/NSFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <utility>

#include "platform/foundation/Random.h"
#include "platform/foundation/internal/FileDescriptor.h"
#include "platform/runtime/Condition.h"

namespace platform {

namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kDirectoryMode = 0700;

struct InstalledDirectories {
  Mutex mutex;
  Directories value PLATFORM_GUARDED_BY(mutex);
};

InstalledDirectories& installed() {
  static InstalledDirectories& instance = *new InstalledDirectories;
  return instance;
}

bool writeAll(int file, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t written = ::write(file, contents.data(), contents.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    contents.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeNewFile(const std::string& path, std::string_view contents) {
  FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  if (!file.isOpen()) return false;
  return writeAll(file.number(), contents) && file.close();
}

NSError posixError(int code, const std::string& path) {
  return NSError(std::string(NSPOSIXErrorDomain), code,
                 {{NSLocalizedDescriptionKey, std::generic_category().message(code)}, {"NSFilePath", path}});
}

// None with errno set.
std::optional<std::string> readWhole(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return std::nullopt;

  // The size is a hint: the file may grow while it is read, and files that the kernel makes up state none.
  struct stat facts {};
  if (::fstat(file.number(), &facts) != 0) facts.st_size = 0;
  constexpr std::size_t kStep = 4096;
  std::string bytes;
  std::size_t length = 0;
  bytes.resize(static_cast<std::size_t>(facts.st_size) + 1);
  for (;;) {
    if (length == bytes.size()) bytes.resize(length + kStep);
    const ssize_t count = ::read(file.number(), bytes.data() + length, bytes.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  bytes.resize(length);
  return bytes;
}

NSDate dateOf(const statx_timestamp& time) {
  return NSDate::withTimeIntervalSince1970(static_cast<double>(time.tv_sec) + time.tv_nsec * 1e-9);
}

double secondsSince(const statx_timestamp& time) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec - time.tv_sec) +
         (now.tv_nsec - static_cast<long>(time.tv_nsec)) * 1e-9;
}

}  // namespace

void setDirectories(Directories value) {
  MutexLock lock(installed().mutex);
  installed().value = std::move(value);
}

Directories directories() {
  MutexLock lock(installed().mutex);
  return installed().value;
}

std::string NSFileManager::directory(SearchPath which) const {
  const Directories all = directories();
  switch (which) {
    case SearchPath::Documents:
      return all.documents;
    case SearchPath::Caches:
      return all.caches;
    case SearchPath::ApplicationSupport:
      return all.applicationSupport;
    case SearchPath::Preferences:
      return all.preferences;
  }
  return {};
}

FileKind NSFileManager::fileExists(const std::string& path) const {
  struct stat facts;
  if (::stat(path.c_str(), &facts) != 0) return FileKind::None;
  return S_ISDIR(facts.st_mode) ? FileKind::Directory : FileKind::File;
}

std::variant<FileAttributes, NSError> NSFileManager::attributes(const std::string& path) const {
  struct statx facts;
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &facts) != 0)
    return posixError(errno, path);
  FileAttributes attributes;
  attributes.kind = S_ISDIR(facts.stx_mode) ? FileKind::Directory : FileKind::File;
  attributes.size = facts.stx_size;
  attributes.modificationDate = dateOf(facts.stx_mtime);
  attributes.secondsSinceModification = secondsSince(facts.stx_mtime);
  if (facts.stx_mask & STATX_BTIME) attributes.creationDate = dateOf(facts.stx_btime);
  return attributes;
}

bool NSFileManager::createDirectory(const std::string& path, bool withIntermediates) const {
  if (!withIntermediates) return ::mkdir(path.c_str(), kDirectoryMode) == 0;
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    ::mkdir(path.substr(0, end).c_str(), kDirectoryMode);
  }
  return fileExists(path) == FileKind::Directory;
}

bool NSFileManager::createFile(const std::string& path, std::string_view contents) const {
  const std::string partial = path + "." + std::to_string(arc4random()) + ".partial";
  if (writeNewFile(partial, contents) && std::rename(partial.c_str(), path.c_str()) == 0) return true;
  ::unlink(partial.c_str());
  return false;
}

std::optional<std::string> NSFileManager::contents(const std::string& path,
                                                   std::optional<NSError>* failure) const {
  auto bytes = readWhole(path);
  if (!bytes && failure) *failure = posixError(errno, path);
  return bytes;
}

std::optional<std::vector<std::string>> NSFileManager::contentsOfDirectory(const std::string& path) const {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(path.c_str()), ::closedir);
  if (!listing) return std::nullopt;
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return std::nullopt;
  return names;
}

bool NSFileManager::removeItem(const std::string& path) const {
  if (::unlink(path.c_str()) == 0) return true;
  if (errno != EISDIR && errno != EPERM) return false;
  std::error_code failure;
  const std::uintmax_t removed = std::filesystem::remove_all(path, failure);
  return !failure && removed > 0;
}

bool NSFileManager::moveItem(const std::string& from, const std::string& to) const {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool NSFileManager::synchronizeItem(const std::string& path) const {
  const FileDescriptor item(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return item.isOpen() && ::fsync(item.number()) == 0;
}

bool NSFileManager::isDeletableFile(const std::string& path) const {
  const std::string parent = path.substr(0, path.find_last_of('/') + 1);
  return ::access(parent.c_str(), W_OK | X_OK) == 0;
}

}  // namespace platform
