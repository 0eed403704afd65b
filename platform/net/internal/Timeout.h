#pragma once

#include <algorithm>
#include <chrono>

namespace platform {

// A timeout in seconds as a duration that overflows no clock: none below zero, and above 30 days, which is as
// good as for ever, that.
inline std::chrono::steady_clock::duration timeoutOf(double seconds) {
  constexpr double kLongestTimeout = 30.0 * 24 * 3600;
  return std::chrono::ceil<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(std::clamp(seconds, 0.0, kLongestTimeout)));
}

}  // namespace platform
