#pragma once

#include <memory>

#include "platform/dispatch/Work.h"
#include "src/core/Threads.h"

class KovaOptions;
namespace platform {
class NSTimer;
}

// Tells when the session has expired: 300 s after it was last extended, or as long as a test's options say.
// It is a timer of the main run loop's default mode, so that no session ends while a finger drags a scroll
// view.
class KISessionTimer {
 public:
  explicit KISessionTimer(std::shared_ptr<const KovaOptions> options);

  // The time counts anew from now. False when no timer of that time runs: start() one then.
  bool extend() KOVA_ON_MAIN_THREAD;
  // `expired` runs when the session has expired, and is kept until then.
  void start(platform::Work expired) KOVA_ON_MAIN_THREAD;
  // Stops for good, and extend() with it: another timer would keep its owner alive for ever.
  void stop() KOVA_ON_MAIN_THREAD;
  // The latest, whose fire date says when the session expires; null before the first extension.
  std::shared_ptr<platform::NSTimer> timer() const KOVA_ON_MAIN_THREAD { return timer_; }

 private:
  double interval() const;  // seconds

  const std::shared_ptr<const KovaOptions> options_;
  std::shared_ptr<platform::NSTimer> timer_ KOVA_OF_MAIN_THREAD;
  bool isStopped_ KOVA_OF_MAIN_THREAD = false;
};
