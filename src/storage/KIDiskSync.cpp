#include "src/storage/KIDiskSync.h"

#include <variant>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/foundation/NSFileManager.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

// One in a process, never destroyed.
NSOperationQueue& diskQueue() {
  static const auto& queue = *new std::shared_ptr<NSOperationQueue>([] {
    auto made = std::make_shared<NSOperationQueue>();
    made->setName("com.Kova.disk");
    made->setQualityOfService(QualityOfService::Utility);
    return made;
  }());
  return *queue;
}

}  // namespace

KIDiskSync::KIDiskSync()
    : KIDiskSync([](const std::string& path) { return NSFileManager().synchronizeItem(path); }) {}

void KIDiskSync::synchronize(const std::vector<std::string>& paths, std::function<void()> done) {
  if (isRunning_->load()) return;
  std::vector<std::string> changed;
  Stamps stamps;
  for (const std::string& path : paths) addChanged(path, changed, stamps);
  synced_ = std::move(stamps);
  if (changed.empty()) return;
  *isRunning_ = true;
  KOVA_addSafeOperationWithBlock(
      diskQueue(),
      [sync = sync_, isRunning = isRunning_, changed = std::move(changed), done = std::move(done)] {
        bool isOnDisk = true;
        for (const std::string& path : changed) isOnDisk = sync(path) && isOnDisk;
        *isRunning = false;
        if (isOnDisk) done();
      },
      {"KIDiskSync", "synchronize:"});
}

// A directory is listed only when it has changed itself: files in it are written once.
void KIDiskSync::addChanged(const std::string& path, std::vector<std::string>& changed,
                            Stamps& stamps) const {
  const NSFileManager files;
  const auto attributes = files.attributes(path);
  const auto* facts = std::get_if<FileAttributes>(&attributes);
  if (!facts) return;
  const Stamp stamp{facts->size, facts->modificationDate.timeIntervalSince1970()};
  const auto known = synced_.find(path);
  const bool isChanged = known == synced_.end() || known->second != stamp;
  stamps[path] = stamp;
  if (facts->kind == FileKind::Directory) {
    const std::string within = path + "/";
    if (!isChanged) {
      for (auto entry = synced_.lower_bound(within);
           entry != synced_.end() && entry->first.starts_with(within); ++entry)
        stamps.insert(*entry);
      return;
    }
    for (const std::string& name : files.contentsOfDirectory(path).value_or(std::vector<std::string>()))
      addChanged(within + name, changed, stamps);
  }
  if (isChanged) changed.push_back(path);
}
