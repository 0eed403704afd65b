#pragma once

#include <memory>

#include "platform/dispatch/Work.h"

namespace platform {

class NSTimer;

// What the main loop is busy with. Tracking: a finger is down on something that scrolls or slides. Common is
// no state of the loop but a request: "in both".
enum class RunLoopMode { Default, Tracking, Common };

// The main thread's event loop. An interface, so that another toolkit's loop can be presented to the library
// by a subclass (see ThreadScheduler::setMainRunLoop). Loops live as long as the process does.
//
// What a subclass does about timers: it retains a timer from addTimer to removeTimer, and calls attach(this)
// on it; when the timer's fireUptime() has come and the mode suits, it lets go of it and calls fire(timer,
// mode) on the main thread, which adds it again for the new fireUptime() if it is still valid. A timer whose
// time passed in another mode fires once, when the mode is back.
class RunLoop {
 public:
  virtual ~RunLoop() = default;

  // Any thread. Runs the work on the main thread in whichever mode, in the order added.
  virtual void perform(Work work) = 0;

  // Main thread. Adding a timer again moves it to the new mode; an invalid timer is ignored.
  virtual void addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) = 0;

  // Main thread. Called by NSTimer::invalidate; forgets the timer if it is there.
  virtual void removeTimer(NSTimer& timer) = 0;

  // Default or Tracking. Main thread.
  virtual RunLoopMode currentMode() const = 0;

  // For toolkits: a finger begins to drag something (Tracking), or has ended it (Default). In between the
  // loop is in the tracking mode, whichever mode it is run in. Main thread. Does nothing by default; a
  // subclass whose toolkit keeps no mode of its own overrides it.
  virtual void setCurrentMode(RunLoopMode /*mode*/) {}

  // For subclasses, when a timer's time has come and they have let go of it: fires it, unless it has been
  // restarted since it was added, and adds it again if it is still valid, also when its work throws.
  void fire(const std::shared_ptr<NSTimer>& timer, RunLoopMode mode);

  // Whether the caller is on the thread that this loop runs on: the first thread of the process unless a
  // subclass says otherwise. Any thread; called often, so it must be cheap.
  virtual bool isMainThread() const;
};

}  // namespace platform
