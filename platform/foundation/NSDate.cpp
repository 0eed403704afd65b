#include "platform/foundation/NSDate.h"

#include <cmath>
#include <cstdio>
#include <ctime>

namespace platform {

std::string NSDate::description() const {
  constexpr double kFurthest = 1e15;  // seconds; far beyond any calendar
  if (!(std::abs(seconds_) < kFurthest)) return "(no date)";
  const auto whole = static_cast<std::time_t>(std::floor(seconds_));
  std::tm utc{};
  gmtime_r(&whole, &utc);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &utc);
  return std::string(text, length);
}

}  // namespace platform
