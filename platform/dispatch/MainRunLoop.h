#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <optional>

#include "platform/dispatch/LoopTimers.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/foundation/NSDate.h"
#include "platform/runtime/Condition.h"

namespace platform {

// The main loop of a host that has no event loop of another toolkit. Belongs to the ThreadScheduler and lives
// as long as it does. The run methods are called on the main thread, also from work that the loop itself runs
// (a nested run).
class MainRunLoop final : public RunLoop {
 public:
  MainRunLoop() = default;
  ~MainRunLoop() override;

  // Runs in the default mode until stop().
  void run();
  // Runs in the default mode until the date, by the wall clock as it is set now, or stop(). What is queued
  // and due is run once in any case.
  void runUntil(NSDate limit);
  void runFor(double seconds);
  // As runFor, in a given mode.
  void runMode(RunLoopMode mode, double seconds);

  // Runs on a thread of its own, which is the main one from now on, for the life of the process; stop() ends
  // nothing there. Once, at start-up: before work is handed over, and before anybody asks for the main
  // thread.
  void runOnThreadOfItsOwn();

  // Any thread. Ends the innermost run after the work at hand, or the next one if none is going on.
  void stop();

  void perform(Work work) override;
  void addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) override;
  void removeTimer(NSTimer& timer) override;
  RunLoopMode currentMode() const override;
  void setCurrentMode(RunLoopMode mode) override;
  bool isMainThread() const override;

 private:
  class RunningIn;

  RunLoopMode exchangeRunMode(RunLoopMode mode);

  void runUntilUptime(RunLoopMode mode, double limit);
  void runQueuedWork();
  void runDueTimers();
  // False when the run is over.
  bool waitForWork(double limit);
  bool takeStop() PLATFORM_REQUIRES(mutex_);
  RunLoopMode mode() const PLATFORM_REQUIRES(mutex_) { return tracking_ ? RunLoopMode::Tracking : runMode_; }
  void wakeUp() PLATFORM_REQUIRES(mutex_);

  std::atomic<bool> hasThread_ = false;
  mutable Mutex mutex_;
  Condition wake_;
  bool asleep_ PLATFORM_GUARDED_BY(mutex_) = false;
  bool stopRequested_ PLATFORM_GUARDED_BY(mutex_) = false;
  RunLoopMode runMode_ PLATFORM_GUARDED_BY(mutex_) = RunLoopMode::Default;  // what the innermost run asks for
  bool tracking_ PLATFORM_GUARDED_BY(mutex_) = false;                       // whatever the run asks for
  std::deque<Work> queued_ PLATFORM_GUARDED_BY(mutex_);
  LoopTimers timers_ PLATFORM_GUARDED_BY(mutex_);
};

}  // namespace platform
