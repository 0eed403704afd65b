#include "src/storage/store/KIStorePlace.h"

#include <cerrno>
#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/RecordFile.h"
#include "src/storage/store/PassingFailure.h"

using namespace platform;

namespace {

constexpr int kMost = 16;  // processes of an app at once; a further one waits for a place

// A lock file that has no room yet may have some later. Until then another process may hold the place of it.
bool isUndecided(int failure) { return kova::isPassing(failure) || failure == ENOSPC || failure == EDQUOT; }

bool exists(const std::string& path) { return NSFileManager().fileExists(path) != FileKind::None; }

}  // namespace

std::string KIStorePlace::pathOfLock(const std::string& appId, int number) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  const KIStorePlace place(appId, number, nullptr);
  return folder.empty() ? folder : folder + formatted("/kova-%@.lock", place.name());
}

KIStorePlace KIStorePlace::take(const std::string& appId) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  if (!folder.empty()) NSFileManager().createDirectory(folder, true);
  for (int number = kFirst;; ++number) {
    const std::string path = pathOfLock(appId, number);
    if (path.empty()) return KIStorePlace(appId);
    int failure = 0;
    auto lock = LockFile::take(path, LockFile::Missing::Make, &failure);
    if (lock) return {appId, number, std::move(lock)};
    const bool isHeld = failure == EWOULDBLOCK;
    if (isHeld ? number == kMost : isUndecided(failure)) return {appId, kNone, nullptr};
    if (!isHeld) return {appId, number, nullptr};
  }
}

std::vector<KIStorePlace> KIStorePlace::takeLeft(const std::string& appId, int from) {
  std::vector<KIStorePlace> left;
  for (int number = from; number <= kMost; ++number) {
    const std::string path = pathOfLock(appId, number);
    if (path.empty() || (number > kFirst && !exists(path))) break;
    if (auto lock = LockFile::take(path, LockFile::Missing::Make))
      left.push_back({appId, number, std::move(lock)});
  }
  return left;
}

KIStorePlace KIStorePlace::sharedWithOwner() const {
  KIStorePlace place{appId_, number_, nullptr};
  place.isHeldByOwner_ = isHeld();
  return place;
}

bool KIStorePlace::mayHaveOthers() const { return !isFirst() || exists(pathOfLock(appId_, kFirstFurther)); }

bool KIStorePlace::removeAll() {
  int last = kFirst;
  while (last < kMost && exists(pathOfLock(appId_, last + 1))) ++last;
  lock_ = nullptr;
  for (int number = last; number >= kFirst; --number) {
    const std::string path = pathOfLock(appId_, number);
    if (!path.empty() && exists(path) && !RecordFile::removeAt(path)) return false;
  }
  return true;
}
