#pragma once

#include <atomic>
#include <memory>

#include "platform/dispatch/DispatchTimer.h"
#include "platform/dispatch/Work.h"

namespace platform {

class NSTimer;

// A timer source for work on the main run loop, made of a run loop timer in the common modes, which only the
// main thread may touch; other threads go there by RunLoop::perform.
class MainQueueTimer final : public DispatchTimer, public std::enable_shared_from_this<MainQueueTimer> {
 public:
  static std::shared_ptr<MainQueueTimer> start(double seconds, Work work);

  void cancel() override;

 private:
  void arm(double deadline, Work work);

  std::atomic<bool> cancelled_{false};
  std::weak_ptr<NSTimer> timer_;  // main thread only; held by the run loop
};

}  // namespace platform
