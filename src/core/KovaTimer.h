#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "platform/dispatch/DispatchTimer.h"
#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/Work.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/NSObject.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

// A one-shot timer that delivers a safe operation into a queue after a delay.
//
// Held by whoever may want to cancel it; until it has fired it keeps itself, its queue and its callback
// alive. Any thread. A cancel that arrives after the firing is harmless; a firing that was under way when
// cancel was called still delivers its callback.
class KovaTimer : public platform::NSObject {
  NS_OBJECT(KovaTimer, NSObject)

 public:
  // Runs `block` on `queue` once, `seconds` from now.
  static std::shared_ptr<KovaTimer> scheduleSafeOperationWithBlock(
      platform::Work block, double seconds, const std::shared_ptr<platform::NSOperationQueue>& queue);

  // `isRunning` is false when this returns; the timer source is taken down on the queue.
  void cancel();

  // From scheduling until it fires or is cancelled.
  bool isRunning() const { return isRunning_.load(std::memory_order_relaxed); }

 private:
  void fire(const platform::Work& block, platform::NSOperationQueue& queue);
  std::shared_ptr<platform::DispatchTimer> takeSource();

  std::atomic<bool> isRunning_ = false;
  std::weak_ptr<platform::NSOperationQueue> queue_;
  platform::Mutex mutex_;
  std::shared_ptr<platform::DispatchTimer> source_ PLATFORM_GUARDED_BY(mutex_);
};

namespace kova {

// block(self) runs once, `seconds` from now, if `self` is there still. As with perform, the compiler proves
// that the block is meant for the thread it is handed to.
template <class Self, class Block>
std::shared_ptr<KovaTimer> performAfter(double seconds, KISerialStateQueue& queue, Self& self, Block block) {
  return KovaTimer::scheduleSafeOperationWithBlock(
      [weak = self.weak_from_this(), block = std::move(block)] {
        mutationQueue.isHere();
        if (const auto kept = std::static_pointer_cast<Self>(weak.lock())) block(*kept);
      },
      seconds, queue.shared_from_this());
}
template <class Self, class Block>
std::shared_ptr<KovaTimer> performAfter(double seconds, const MainThread&, Self& self, Block block) {
  return KovaTimer::scheduleSafeOperationWithBlock(
      [weak = self.weak_from_this(), block = std::move(block)] {
        mainThread.isHere();
        if (const auto kept = std::static_pointer_cast<Self>(weak.lock())) block(*kept);
      },
      seconds, platform::NSOperationQueue::mainQueue());
}

}  // namespace kova
