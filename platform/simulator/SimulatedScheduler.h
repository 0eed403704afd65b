#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "platform/dispatch/Scheduler.h"

namespace platform {

// Virtual time, for tests: every queue and the main run loop run on one thread, the one that made the
// scheduler, and only inside advance, drain and runUntil, in the order in which work was handed over,
// whichever queue it was for. The clocks stand still but for advance.
//
// Other threads may hand over work, set timers and read the clocks; the rest is for the scheduler's own
// thread. Work may call drain and its like as a nested run of the main loop; called from a serial queue's
// work they throw std::logic_error. An exception that leaves a piece of work comes out of the call that ran
// it.
class SimulatedScheduler final : public Scheduler {
 public:
  // Makes one and puts it in force.
  static SimulatedScheduler& installNew();

  SimulatedScheduler();
  ~SimulatedScheduler() override;

  // Moves time on by that many seconds, and fires what falls due on the way, at its time and in the order of
  // time (of scheduling, for the same time), with everything queued run before and after each firing.
  void advance(double seconds);

  // Runs what is queued and what is due until nothing is left. Throws std::runtime_error after a million
  // pieces of work without time moving on: something queues itself for ever.
  void drain();

  // Drains until the predicate holds, and waits for other threads to hand over work, at most that many real
  // seconds. Answers whether the predicate holds. It is asked on this thread, after each hand-over. Virtual
  // time stands still.
  bool runUntil(const std::function<bool()>& predicate, double realTimeoutSeconds);

  // Sets the clock on the wall, and nothing else: what waits goes by uptime.
  void setWallClock(NSDate now);

  // Timers that were held back fire at the next drain or advance.
  void setMainRunLoopMode(RunLoopMode mode);

  // Timers that wait, of all queues and the main run loop.
  std::size_t pendingTimerCount() const;

  NSDate now() override;
  double uptime() override;
  std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label,
                                                 QualityOfService qualityOfService) override;
  RunLoop& mainRunLoop() override;
  // True on the scheduler's thread, but for while a serial queue's work runs, as on a device.
  bool isMainThread() override;

 private:
  class Core;
  class Queue;
  class QueueTimer;
  class MainLoop;

  std::shared_ptr<Core> core_;
  std::unique_ptr<MainLoop> mainLoop_;
};

}  // namespace platform
