// Erasing what is stored: nobody who still has work to do may store it again.

#include <Kova/Kova.h>

#include <memory>

#include "src/core/Guard.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/core/tracker/Kova+Host.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/lifecycle/KILifecycle.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

namespace {

// On the mutation queue, behind all that was called before.
bool unsafeEraseStored(const std::string& envId) {
  kova::stopSharedTracker();
  kova::mainThread.isHere();  // hosts erase there
  kova::takeFromEnvironment<KIIdentityManager>(envId);
  const auto queues = kova::takeFromEnvironment<KovaQueueManager>(envId);
  auto store = kova::takeFromEnvironment<KovaPersistentStore>(envId);
  if (!store) store = std::make_shared<KovaPersistentStore>(envId);
  const auto isErased = std::make_shared<bool>(false);
  const auto& mutationQueue = KOVA_serialStateQueue();
  KOVA_addSafeOperationWithBlock(*mutationQueue,
                                 [queues, store, isErased] {
                                   kova::mutationQueue.isHere();
                                   if (queues) queues->abandonStore();
                                   const bool isVersionForgotten = KILifecycle::forgetVersion();
                                   *isErased = store->erase() && isVersionForgotten;
                                 },
                                 {"Kova", "eraseStored:"});
  mutationQueue->waitForAddedOperations();
  return *isErased;
}

}  // namespace

bool Kova::eraseStored(KovaText envId) {
  std::string message;
  if (!KovaTracker::isValidAppId(envId.view(), message)) return false;
  bool isErased = false;
  kova::onThreadOfHost([&] {
    isErased = kova::guarded(
        {"Kova", "eraseStored:"}, [&] { return unsafeEraseStored(std::string(envId.view())); }, false);
  });
  return isErased;
}
