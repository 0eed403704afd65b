#include "platform/uikit/TrackingMode.h"

#include "platform/dispatch/RunLoop.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

namespace {
int held = 0;
}

TrackingMode::TrackingMode() : loop_(Scheduler::current().mainRunLoop()) {
  if (++held == 1) loop_.setCurrentMode(RunLoopMode::Tracking);
}

TrackingMode::~TrackingMode() {
  if (--held == 0) loop_.setCurrentMode(RunLoopMode::Default);
}

}  // namespace platform
