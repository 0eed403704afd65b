#include "platform/dispatch/NSTimer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/dispatch/RunLoop.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

namespace {
constexpr double kShortestInterval = 0.0001;
}

NSTimer::NSTimer(Private, double interval, Work work, bool repeats)
    : interval_(interval >= kShortestInterval ? interval : kShortestInterval),
      repeats_(repeats),
      fireUptime_(Scheduler::current().uptime() + interval_),
      work_(std::move(work)) {}

std::shared_ptr<NSTimer> NSTimer::create(double interval, Work work, bool repeats) {
  return std::make_shared<NSTimer>(Private(), interval, std::move(work), repeats);
}

std::shared_ptr<NSTimer> NSTimer::scheduled(double interval, Work work, bool repeats) {
  auto timer = create(interval, std::move(work), repeats);
  Scheduler::current().mainRunLoop().addTimer(timer, RunLoopMode::Default);
  return timer;
}

void NSTimer::invalidate() {
  if (!valid_) return;
  valid_ = false;
  const auto self = shared_from_this();  // the loop or the work may hold the last reference
  if (RunLoop* loop = std::exchange(loop_, nullptr)) loop->removeTimer(*this);
  const Work released = std::exchange(work_, nullptr);
}

NSDate NSTimer::fireDate() const {
  Scheduler& scheduler = Scheduler::current();
  return scheduler.now().adding(fireUptime_ - scheduler.uptime());
}

void NSTimer::fire() {
  if (!valid_) return;
  const auto self = shared_from_this();
  // The work is out of reach of an invalidate() that it may call itself.
  Work work = std::exchange(work_, nullptr);
  if (work) work();
  if (!valid_) return;
  if (!repeats_) {
    invalidate();
    return;
  }
  work_ = std::move(work);
  const double late = Scheduler::current().uptime() - fireUptime_;
  fireUptime_ += interval_ * (late > 0 ? std::floor(late / interval_) + 1 : 1);
}

}  // namespace platform
