#pragma once

#include <algorithm>
#include <chrono>

// The device's monotonic clock, as ThreadScheduler::uptime() gives it and as the workers wait by it.

namespace platform {

inline double deviceUptime() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline std::chrono::steady_clock::time_point deviceTimePoint(double uptime) {
  constexpr double kFarAway = 4.0e9;  // seconds; what the clock's 64 bits of nanoseconds still hold
  const std::chrono::duration<double> sinceStart(std::min(uptime, kFarAway));
  // Rounded up, so that who waits until then finds that the time has come.
  return std::chrono::steady_clock::time_point(std::chrono::ceil<std::chrono::nanoseconds>(sinceStart));
}

// A delay as callers give it, made fit to add to an uptime: negative and not-a-number count as none.
inline double validDelay(double seconds) { return seconds > 0 ? seconds : 0; }

}  // namespace platform
