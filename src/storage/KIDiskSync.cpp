#include "src/storage/KIDiskSync.h"

#include <utility>
#include <variant>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/foundation/NSFileManager.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

// A file system's clock ticks every 10 ms at the longest. What is written after it has been looked at, within
// the same tick, leaves the time that it had; so what has just changed is not known, and comes again.
constexpr double kLongestTick = 0.02;  // seconds, with some to spare

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

bool isGone(const std::string& path) { return NSFileManager().fileExists(path) == FileKind::None; }

}  // namespace

KIDiskSync::KIDiskSync()
    : KIDiskSync([](const std::string& path) { return NSFileManager().synchronizeItem(path); }) {}

void KIDiskSync::synchronize(std::vector<std::string> paths, std::function<void()> done) {
  Request request{std::move(paths), std::move(done)};
  if (isRunning_) {
    next_ = std::move(request);
  } else {
    begin(std::move(request));
  }
}

void KIDiskSync::begin(Request request) {
  std::vector<std::string> changed;
  Stamps stamps;
  for (const std::string& path : request.paths) addChanged(path, changed, stamps);
  if (changed.empty()) {
    synced_ = std::move(stamps);
    return;
  }
  isRunning_ = true;
  KOVA_addSafeOperationWithBlock(diskQueue(),
                                 [self = shared_from_this(), changed = std::move(changed),
                                  stamps = std::move(stamps), done = std::move(request.done)] {
                                   std::vector<std::string> failed;
                                   for (const std::string& path : changed) {
                                     if (!self->sync_(path) && !isGone(path)) failed.push_back(path);
                                   }
                                   KOVA_addSafeOperationWithBlock(*KOVA_serialStateQueue(),
                                                                  [self, failed, stamps, done] {
                                                                    kova::mutationQueue.isHere();
                                                                    self->end(failed, stamps, done);
                                                                  },
                                                                  {"KIDiskSync", "synchronize:"});
                                 },
                                 {"KIDiskSync", "synchronize:"});
}

// What is not on disk is new to the next run, and so is its directory, which would not be listed otherwise.
void KIDiskSync::end(const std::vector<std::string>& failed, Stamps stamps,
                     const std::function<void()>& done) {
  isRunning_ = false;
  for (const std::string& path : failed) {
    stamps.erase(path);
    stamps.erase(path.substr(0, path.rfind('/')));
  }
  synced_ = std::move(stamps);
  if (!failed.empty() && !hasFailed_)
    KovaLogDebug("\"%@\" is not known to be on disk, and is tried again: a power failure may take it.",
                 failed[0]);
  hasFailed_ = !failed.empty();
  if (failed.empty()) done();
  if (auto next = std::exchange(next_, std::nullopt)) begin(*std::move(next));
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
  if (facts->secondsSinceModification > kLongestTick) stamps[path] = stamp;
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
