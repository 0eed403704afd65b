#include "src/core/KovaUtil.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/Decimal.h"
#include "platform/foundation/Random.h"
#include "platform/foundation/Text.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/KovaLogger.h"

using namespace platform;

namespace {

constexpr std::size_t kRandomIdDigits = 16;

std::optional<int>& visibilityOverride() {
  static std::optional<int> state;
  return state;
}

// By selector, the uptime of its last use.
std::map<std::string, double, std::less<>>& selectorTimes() {
  static auto& times = *new std::map<std::string, double, std::less<>>;
  return times;
}

// What a difference of two uptimes was before floating point: 0.2, and not a little more.
double inMicroseconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

// Which bytes urlEncode writes as they are.
constexpr std::array<bool, 256> makePassesUnencoded() {
  std::array<bool, 256> passes{};
  for (bool& each : passes) each = true;
  for (const char c : std::string_view("!*'();:@&=+$,/?%|#[]\" <>\\^`{}\t\n\r\b\a\f\v")) {
    passes[static_cast<unsigned char>(c)] = false;
  }
  return passes;
}
constexpr std::array<bool, 256> kPassesUnencoded = makePassesUnencoded();

}  // namespace

std::string KovaUtil::randomId() {
  const std::uint64_t high = platform::arc4random() & 0x1FFFFF;
  const std::uint64_t low = platform::arc4random();
  const std::string digits = decimal((high << 32) | low);
  return std::string(kRandomIdDigits - digits.size(), '0') + digits;
}

std::string KovaUtil::epochString() { return epochStringForDate(Scheduler::current().now()); }

std::string KovaUtil::epochStringForDate(NSDate date) {
  return decimal(static_cast<std::int64_t>(std::llrint(date.timeIntervalSince1970() * 1000.0)));
}

int KovaUtil::appVisibilityState(std::string_view caller) {
  if (!Scheduler::current().isMainThread()) {
    KovaLogDebug("WARNING - %@ was called on a background thread. Unpredictable behavior may occur.", caller);
  }
  if (visibilityOverride()) return *visibilityOverride();
  const auto& application = UIApplication::sharedApplication();
  const bool isInBackground =
      application && application->applicationState() == UIApplicationState::Background;
  return isInBackground ? kAppVisibilityStateBackground : kAppVisibilityStateForeground;
}

void KovaUtil::setAppVisibilityStateOverride(std::optional<int> state) { visibilityOverride() = state; }

std::optional<int> KovaUtil::appVisibilityStateOverride() { return visibilityOverride(); }

double KovaUtil::timeSinceLastSelector(std::string_view selector) {
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

void KovaUtil::updateTimeForSelector(std::string_view selector) {
  selectorTimes().insert_or_assign(std::string(selector), Scheduler::current().uptime());
}

std::string KovaUtil::urlEncode(const std::optional<Value>& value) {
  static constexpr char kHexadecimalDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : description(value)) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPassesUnencoded[byte]) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHexadecimalDigits[byte >> 4];
      encoded += kHexadecimalDigits[byte & 0xF];
    }
  }
  return encoded;
}

std::string KovaUtil::urlDecode(std::string_view text) { return removingPercentEncoding(text).value_or(""); }
