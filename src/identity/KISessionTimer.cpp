#include "src/identity/KISessionTimer.h"

#include <Kova/KovaOptions.h>

#include "platform/dispatch/NSTimer.h"

using namespace platform;

KISessionTimer::KISessionTimer(std::shared_ptr<const KovaOptions> options) : options_(std::move(options)) {}

void KISessionTimer::extend(Work expired) {
  if (isStopped_) return;
  constexpr double kExpirationInterval = 300.0;  // seconds
  const double interval = options_->testOnlySessionExpirationInterval().value_or(0);
  const double seconds = interval > 0 ? interval : kExpirationInterval;
  if (timer_ && timer_->isValid() && timer_->timeInterval() == seconds) return timer_->restart();
  if (timer_) timer_->invalidate();
  timer_ = NSTimer::scheduled(seconds, std::move(expired));
}

void KISessionTimer::stop() {
  isStopped_ = true;
  if (timer_) timer_->invalidate();
}
