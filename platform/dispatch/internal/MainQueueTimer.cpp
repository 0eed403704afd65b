#include "platform/dispatch/internal/MainQueueTimer.h"

#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

namespace {

void onMainThread(Work work) {
  Scheduler& scheduler = Scheduler::current();
  if (scheduler.isMainThread()) {
    work();
  } else {
    scheduler.mainRunLoop().perform(std::move(work));
  }
}

}  // namespace

std::shared_ptr<MainQueueTimer> MainQueueTimer::start(double seconds, Work work) {
  const auto timer = std::make_shared<MainQueueTimer>();
  const double deadline = Scheduler::current().uptime() + seconds;
  onMainThread(
      [timer, deadline, work = std::move(work)]() mutable { timer->arm(deadline, std::move(work)); });
  return timer;
}

void MainQueueTimer::arm(double deadline, Work work) {
  if (cancelled_.load()) return;
  Scheduler& scheduler = Scheduler::current();
  const auto timer =
      NSTimer::create(deadline - scheduler.uptime(), [self = shared_from_this(), work = std::move(work)] {
        if (!self->cancelled_.load()) work();
      });
  timer_ = timer;
  scheduler.mainRunLoop().addTimer(timer, RunLoopMode::Common);
}

void MainQueueTimer::cancel() {
  if (cancelled_.exchange(true)) return;
  onMainThread([self = shared_from_this()] {
    if (const auto timer = self->timer_.lock()) timer->invalidate();
  });
}

}  // namespace platform
