// What a loop does with a timer. Apart from RunLoop.h's own file because it knows NSTimer, and that one
// stands above the interface.

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

void RunLoop::fire(const std::shared_ptr<NSTimer>& timer, RunLoopMode mode) {
  if (timer->fireUptime() > Scheduler::current().uptime())
    return addTimer(timer, mode);  // restarted since it was added
  try {
    timer->fire();
  } catch (...) {
    addTimer(timer, mode);
    throw;
  }
  addTimer(timer, mode);
}

}  // namespace platform
