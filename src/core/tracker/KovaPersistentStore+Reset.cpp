// Clearing the store needs to know whose keys are in it. Those who keep something there say so themselves.

#include "src/core/KovaLogger.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/lifecycle/KILifecycle.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

std::shared_ptr<KovaPersistentStore> KovaPersistentStore::forAppId(const std::string& appId) {
  return kova::oneAnEnvironment<KovaPersistentStore>(appId, [&] {
    kova::mutationQueue.isHere();  // nobody else has it yet
    auto store = std::make_shared<KovaPersistentStore>(KIStorePlace::take(appId));
    store->isHeldBack_ = true;
    return store;
  });
}

bool KovaPersistentStore::purgeInvalidStoresWithQueuedUrlLimit(std::size_t queuedUrlLimit,
                                                               std::size_t queuedEventLimit,
                                                               std::size_t queuedMessageBatchLimit,
                                                               const Names& spared) {
  if (!KovaQueueManager::persistentStoreHasExcessiveQueuedData(
          *this, {queuedUrlLimit, queuedEventLimit, queuedMessageBatchLimit})) {
    return false;
  }
  KovaLog("Warning: Data stores contain excessive event data. Resetting Kova.");
  clear(spared);
  return true;
}

void KovaPersistentStore::clear(const Names& spared) {
  KovaQueueManager::removeFromPersistentStore(*this);
  KIIdentityManager::removeFromPersistentStore(*this);
  removeObjectForKey(kFailedFileKey);
  removeObjectForKey(KILifecycle::kStoredEventKey);
  // Nothing writes these.
  for (const char* key : {"pageviewId", "pageviewProperties", "sessionProperties", "sessionId"})
    removeObjectForKey(key);
  if (!cacheUrl_) return;
  const auto names = fileManager_.contentsOfDirectory(cacheUrl_->path());
  if (!names) return;
  for (const std::string& name : *names) {
    if (!spared.contains(name)) removeJSONObjectDataFromDisk(name);
  }
}

bool KovaPersistentStore::erase() {
  takePlace();
  clear();
  KIJournal::removeFor(*this);
  isErased_ = true;
  if (cacheUrl_) fileManager_.removeItem(cacheUrl_->path());
  const bool areFilesGone = !cacheUrl_ || fileManager_.fileExists(cacheUrl_->path()) == FileKind::None;
  return isAllStored() && areFilesGone && !KIJournal::existsFor(*this);
}

bool KovaPersistentStore::eraseForAll() {
  bool isGone = erase();
  for (const auto& left : storesLeft(KIStorePlace::kFirst)) isGone = left->erase() && isGone;
  KovaPersistentStore shared(appId(), JSONStore::Disabled);
  KIIdentityManager::removeFromPersistentStore(shared);
  return hasPlace() && place_.removeAll() && isGone;
}
