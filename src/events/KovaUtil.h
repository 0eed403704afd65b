#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/SEL.h"

// Small services that event capture and message building share. Class operations only; any thread, unless
// said.
class KovaUtil {
 public:
  KovaUtil() = delete;

  // 16 decimal digits of a 53-bit random number, padded with zeros: the id of messages, events, users,
  // sessions and pageviews.
  static std::string randomId();

  // Milliseconds since 1970 as decimal text, rounded to whole ones.
  static std::string epochString();
  static std::string epochStringForDate(platform::NSDate date);

  // 1 = the application is in the background, 2 = anything else. To be called on the main thread; elsewhere
  // it logs a warning, naming `caller`, and answers all the same.
  static int appVisibilityState(platform::SEL caller);
  // Replaces the answer above until it is taken back with nullopt. For tests; main thread.
  static void setAppVisibilityStateOverride(std::optional<int> state);
  static std::optional<int> appVisibilityStateOverride();

  // Seconds since the last update for the key; a very large number for a key never seen. Main thread only.
  static double timeSinceLastSelector(std::string_view selector);
  static void updateTimeForSelector(std::string_view selector);

  // Percent-encodes the text of a value: strings as they are, everything else by its description, "(null)"
  // for no value. Characters beyond ASCII stay as they are.
  static std::string urlEncode(const std::optional<platform::Value>& value);
  // Empty for text whose percent escapes are malformed.
  static std::string urlDecode(std::string_view text);
};

inline constexpr int kAppVisibilityStateBackground = 1;
inline constexpr int kAppVisibilityStateForeground = 2;
