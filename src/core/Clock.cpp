#include "src/core/Clock.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/Decimal.h"

using namespace platform;

namespace {

// By selector, the uptime of its last use.
std::map<std::string, double, std::less<>>& selectorTimes() KOVA_ON_MAIN_THREAD {
  static auto& times = *new std::map<std::string, double, std::less<>>;
  return times;
}

// Rounds off what floating point adds to a difference of two uptimes: 0.2, and not a little more.
double inMicroseconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

}  // namespace

std::string kova::epochString() { return epochStringForDate(Scheduler::current().now()); }

std::string kova::epochStringForDate(NSDate date) {
  return decimal(static_cast<std::int64_t>(std::llrint(date.timeIntervalSince1970() * 1000.0)));
}

double kova::timeSinceLastSelector(std::string_view selector) {
  constexpr double kTick = 0.01;  // seconds that the coarse clock is behind, at most
  Scheduler& scheduler = Scheduler::current();
  const auto& times = selectorTimes();
  const auto found = times.find(selector);
  if (found == times.end()) return scheduler.now().timeIntervalSince(NSDate::distantPast());
  const double elapsed = inMicroseconds(scheduler.coarseUptime() - found->second);
  const double untilBorder = kShortestTimeBetweenSameActions - elapsed;
  if (untilBorder >= 0 && untilBorder <= kTick) return inMicroseconds(scheduler.uptime() - found->second);
  return std::max(elapsed, 0.0);
}

void kova::updateTimeForSelector(std::string_view selector) {
  selectorTimes().insert_or_assign(std::string(selector), Scheduler::current().uptime());
}
