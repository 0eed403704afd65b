#include "src/core/NSOperationQueue+SafeOperation.h"

#include <atomic>

#include "src/core/KovaLogger.h"

using namespace platform;

namespace {

constexpr const char* kSerialStateQueueName = "com.Kova.serialState";
constexpr double kMainRunLoopMayStand = 5;  // seconds

std::shared_ptr<KISerialStateQueue> makeSerialStateQueue() {
  KIBailer::sharedBailer().bailInForkedChildren();  // who have no thread for the queue
  auto queue = std::make_shared<KISerialStateQueue>();
  queue->setName(kSerialStateQueueName);
  queue->setQualityOfService(QualityOfService::Background);
  queue->setMaxConcurrentOperationCount(1);
  queue->setUnderlyingQueue(
      Scheduler::current().makeSerialQueue(kSerialStateQueueName, QualityOfService::Background));
  return queue;
}

}  // namespace

const std::shared_ptr<KISerialStateQueue>& KOVA_serialStateQueue() {
  static const auto& queue = *new std::shared_ptr<KISerialStateQueue>(makeSerialStateQueue());
  return queue;
}

void kova::warnOffMainThread(std::string_view selector) {
  if (Scheduler::current().isMainThread()) return;
  KovaLogDebug("WARNING - %@ was called on a background thread. Unpredictable behavior may occur.", selector);
}

void kova::tellWhenMainRunLoopStands() {
  static std::atomic<bool> isWatched{false};
  if (!KovaLoggingEnabled(kKovaLogLevelDebug) || isWatched.exchange(true)) return;
  const auto hasRun = std::make_shared<std::atomic<bool>>(false);
  NSOperationQueue::mainQueue()->addOperationWithBlock([hasRun] { *hasRun = true; });
  KOVA_serialStateQueue()->after(kMainRunLoopMayStand, [hasRun] {
    guarded({"NSObject", "performSafelyOnMainQueueWithBlock:fromObject:selector:"}, [&hasRun] {
      if (*hasRun) return;
      KovaLogDebug(
          "Calls of other threads wait for the main run loop, which has not run for %ld seconds. Run it, or present the loop that runs with ThreadScheduler::setMainRunLoop.",
          static_cast<long>(kMainRunLoopMayStand));
    });
  });
}
