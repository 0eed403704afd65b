#include "src/identity/KISessionTimer.h"

#include <Kova/KovaOptions.h>

#include "platform/dispatch/NSTimer.h"

using namespace platform;

KISessionTimer::KISessionTimer(std::shared_ptr<const KovaOptions> options) : options_(std::move(options)) {}

double KISessionTimer::interval() const {
  constexpr double kExpirationInterval = 300.0;  // seconds
  const double interval = options_->testOnlySessionExpirationInterval().value_or(0);
  return interval > 0 ? interval : kExpirationInterval;
}

bool KISessionTimer::extend() {
  if (isStopped_) return true;
  if (!timer_ || !timer_->isValid() || timer_->timeInterval() != interval()) return false;
  timer_->restart();
  return true;
}

void KISessionTimer::start(Work expired) {
  if (timer_) timer_->invalidate();
  timer_ = NSTimer::scheduled(interval(), std::move(expired));
}

void KISessionTimer::stop() {
  isStopped_ = true;
  if (timer_) timer_->invalidate();
}
