#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"

namespace platform {

// Where the user's files of this application live: absolute paths without a slash at the end. Empty until a
// host layer (or a test) has installed them.
struct Directories {
  std::string documents;
  std::string caches;
  std::string applicationSupport;
  std::string preferences;
  // Names the application among others, e.g. "com.example.storefront"; the standard user defaults are named
  // by it.
  std::string applicationIdentifier;
};

// Process-wide, any thread. Objects made before keep the directories that they were made with.
void setDirectories(Directories directories);
Directories directories();

enum class SearchPath { Documents, Caches, ApplicationSupport, Preferences };

enum class FileKind { None, File, Directory };

struct FileAttributes {
  FileKind kind = FileKind::None;
  std::uint64_t size = 0;
  // None on file systems that do not keep it.
  std::optional<NSDate> creationDate;
  NSDate modificationDate;
  // By the clock that dates files, which need not be the scheduler's. Negative when it was set back
  // meanwhile.
  double secondsSinceModification = 0;
};

// Operations on files, by path. Holds no state: any thread, and several instances do not know of each other.
// Nothing throws but for want of memory; a failure is the answer false, none, or an NSError of the POSIX
// domain. What is made is for the user alone, files 0600 and directories 0700; what exists keeps its mode.
class NSFileManager {
 public:
  // The directory of the user domain, whether it exists or not.
  std::string directory(SearchPath which) const;

  // What stands at the path, symbolic links followed. Anything that is no directory counts as a file.
  FileKind fileExists(const std::string& path) const;
  std::variant<FileAttributes, NSError> attributes(const std::string& path) const;

  // With intermediates, the missing directories above are made too, and a directory that exists is a success.
  bool createDirectory(const std::string& path, bool withIntermediates) const;
  // The whole file or none: a reader, or a process started after this one was killed, sees under that name
  // what stood there before or all of `contents`. Replaces a file that exists. While it writes, a file named
  // `path`.<digits>.partial stands next to it.
  bool createFile(const std::string& path, std::string_view contents) const;
  // The failure, if any, is put where the caller says.
  std::optional<std::string> contents(const std::string& path,
                                      std::optional<NSError>* failure = nullptr) const;
  // Names of the entries, in no order.
  std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) const;
  // A directory goes with all that it holds; of a symbolic link, the link. False when there was nothing to
  // remove.
  bool removeItem(const std::string& path) const;
  // Within a file system. What stood under the new name is replaced.
  bool moveItem(const std::string& from, const std::string& to) const;
  // What has been written to the file, or named in the directory, outlives a power failure when this returns
  // true. May take long.
  bool synchronizeItem(const std::string& path) const;
  // Whether the directory that it stands in lets go of it; no promise.
  bool isDeletableFile(const std::string& path) const;
};

}  // namespace platform
