#pragma once

#include <memory>

#include "platform/dispatch/Work.h"
#include "platform/foundation/NSDate.h"

namespace platform {

class RunLoop;

// A timer of the main run loop. It waits from its creation on, and fires once it has been added to the loop
// (RunLoop::addTimer), which retains it until it has fired for the last time or is invalidated. Main thread
// only.
class NSTimer : public std::enable_shared_from_this<NSTimer> {
  struct Private {};

 public:
  // Fires `interval` seconds of uptime from now, then every `interval` seconds if it repeats. Intervals below
  // 0.1 ms count as 0.1 ms.
  static std::shared_ptr<NSTimer> create(double interval, Work work, bool repeats = false);

  // As create, and adds it to the main run loop in its default mode.
  static std::shared_ptr<NSTimer> scheduled(double interval, Work work, bool repeats = false);

  NSTimer(Private, double interval, Work work, bool repeats);

  // Never fires again. The work is released at once, or, when called by the work itself, as soon as that
  // returns; the run loop keeps nothing of the timer.
  void invalidate();

  // Begins the interval anew: the timer fires `timeInterval()` seconds from now, and once more if its own
  // work says so. Costs a look at the clock: the run loop learns of it when the timer would have fired.
  void restart();

  // Until invalidated; a timer that does not repeat is invalidated after its work has run.
  bool isValid() const { return valid_; }

  bool repeats() const { return repeats_; }
  double timeInterval() const { return interval_; }

  // When it fires next, by the wall clock as it is set now.
  NSDate fireDate() const;

  // When it fires next, in seconds of Scheduler::uptime().
  double fireUptime() const { return fireUptime_; }
  // Runs the work if the timer is valid, then invalidates it or moves fireUptime() to the next whole interval
  // that is still to come, also when the work throws.
  void fire();
  // The loop that holds the timer; null when it lets go without being asked.
  void attach(RunLoop* loop) { loop_ = loop; }

 private:
  class Firing;

  const double interval_;
  const bool repeats_;
  double fireUptime_;
  Work work_;
  RunLoop* loop_ = nullptr;
  bool valid_ = true;
};

}  // namespace platform
