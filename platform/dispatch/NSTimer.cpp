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

void NSTimer::restart() { fireUptime_ = Scheduler::current().uptime() + interval_; }

NSDate NSTimer::fireDate() const {
  Scheduler& scheduler = Scheduler::current();
  return scheduler.now().adding(fireUptime_ - scheduler.uptime());
}

// The work while it runs, out of reach of an invalidate() that it may call itself, and what follows however
// it ends.
class NSTimer::Firing {
 public:
  explicit Firing(NSTimer& timer)
      : timer_(timer), fireUptime_(timer.fireUptime_), work_(std::exchange(timer.work_, nullptr)) {}
  ~Firing() {
    if (!timer_.valid_) return;
    const bool isRestarted = timer_.fireUptime_ != fireUptime_;
    if (!timer_.repeats_ && !isRestarted) {
      timer_.invalidate();
      return;
    }
    timer_.work_ = std::move(work_);
    if (isRestarted) return;
    const double interval = timer_.interval_;
    const double late = Scheduler::current().uptime() - timer_.fireUptime_;
    timer_.fireUptime_ += interval * (late > 0 ? std::floor(late / interval) + 1 : 1);
  }
  Firing(const Firing&) = delete;
  Firing& operator=(const Firing&) = delete;

  void run() const {
    if (work_) work_();
  }

 private:
  NSTimer& timer_;
  const double fireUptime_;
  Work work_;
};

void NSTimer::fire() {
  if (!valid_) return;
  const auto self = shared_from_this();
  Firing(*this).run();
}

}  // namespace platform
