#include "src/core/KovaTimer.h"

#include <utility>

#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

std::shared_ptr<KovaTimer> KovaTimer::scheduleSafeOperationWithBlock(
    Work block, double seconds, const std::shared_ptr<NSOperationQueue>& queue) {
  auto timer = std::make_shared<KovaTimer>();
  timer->queue_ = queue;
  timer->isRunning_ = true;
  // The lock keeps the firing from looking for its source before it is stored.
  const MutexLock lock(timer->mutex_);
  timer->source_ =
      queue->after(seconds, [timer, queue, block = std::move(block)] { timer->fire(block, *queue); });
  return timer;
}

void KovaTimer::fire(const Work& block, NSOperationQueue& queue) {
  static constexpr kova::Place place("KovaTimer",
                                     "scheduleSafeOperationWithBlock:afterTimeInterval:inQueue:");
  // A queue that is busy when the timer falls due fires it before it takes down what was cancelled meanwhile.
  if (!takeSource() || !isRunning_.exchange(false)) return;
  kova::guarded(place, [&] { KOVA_addSafeOperationWithBlock(queue, block, place); });
}

void KovaTimer::cancel() {
  isRunning_ = false;
  const auto queue = queue_.lock();
  if (!queue) return;
  kova::perform(*queue, *this, "cancel", [](KovaTimer& self) {
    if (const auto source = self.takeSource()) source->cancel();
  });
}

std::shared_ptr<DispatchTimer> KovaTimer::takeSource() {
  const MutexLock lock(mutex_);
  return std::exchange(source_, nullptr);
}
