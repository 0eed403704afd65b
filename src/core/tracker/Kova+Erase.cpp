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
#include "src/telemetry/KITelemetry.h"

using namespace platform;

namespace {

constexpr kova::Place kErasing("Kova", "eraseStored:");

// On the mutation queue, behind all that was called before. Also when the library has bailed: what it has
// stored by then is the user's all the same. No report goes out any more, until a start says that it may.
bool unsafeEraseStored(const std::string& envId) {
  KITelemetry::sharedTelemetry().setOptOutStatus(true);
  kova::stopSharedTracker();
  kova::mainThread.isHere();  // hosts erase there
  kova::takeFromEnvironment<KIIdentityManager>(envId);
  const auto queues = kova::takeFromEnvironment<KovaQueueManager>(envId);
  auto store = kova::takeFromEnvironment<KovaPersistentStore>(envId);
  if (!store) store = std::make_shared<KovaPersistentStore>(KIStorePlace::take(envId));
  const auto isErased = std::make_shared<bool>(false);
  const auto& mutationQueue = KOVA_serialStateQueue();
  KOVA_addSafeOperationWithBlock(
      *mutationQueue,
      [queues, store, isErased] {
        kova::mutationQueue.isHere();
        if (queues) queues->abandonStore();
        const bool isVersionForgotten = KILifecycle::forgetVersion();
        *isErased = store->eraseForAll() && isVersionForgotten;
      },
      kErasing, kova::OnException::Bail, kova::WhenBailed::RunAnyway);
  mutationQueue->waitForAddedOperations();
  return *isErased;
}

}  // namespace

bool Kova::eraseStored(KovaText envId) {
  std::string message;
  if (!KovaTracker::isValidAppId(envId.view(), message)) return false;
  bool isErased = false;
  kova::onThreadOfHost([&] {
    kova::guarded(
        kErasing, [&] { isErased = unsafeEraseStored(std::string(envId.view())); }, kova::OnException::Bail,
        kova::WhenBailed::RunAnyway);
  });
  return isErased;
}
