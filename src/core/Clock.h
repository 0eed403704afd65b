#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSDate.h"
#include "src/core/Threads.h"

namespace kova {

// Milliseconds since 1970 as decimal text, rounded to whole ones. Any thread.
std::string epochString();
std::string epochStringForDate(platform::NSDate date);

// Seconds. An action that comes no later than this after one of the same name is not looked at.
inline constexpr double kShortestTimeBetweenSameActions = 0.2;

// Seconds since the last update for the key, by a clock that cannot be set; a very large number for a key
// never seen. Around kShortestTimeBetweenSameActions precise to the millisecond, elsewhere up to 10 ms too
// few.
double timeSinceLastSelector(std::string_view selector) KOVA_ON_MAIN_THREAD;
void updateTimeForSelector(std::string_view selector) KOVA_ON_MAIN_THREAD;

}  // namespace kova
