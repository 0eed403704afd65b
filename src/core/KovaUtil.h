#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/String.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/SEL.h"

namespace platform {
class NSObject;
class UIControl;
class UIResponder;
class UIView;
class UIViewController;
}  // namespace platform

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
  static int appVisibilityState(std::string_view caller);
  // Replaces the answer above until it is taken back with nullopt. For tests; main thread.
  static void setAppVisibilityStateOverride(std::optional<int> state);
  static std::optional<int> appVisibilityStateOverride();

  // Seconds since the last update for the key, by a clock that cannot be set; a very large number for a key
  // never seen. Around kShortestTimeBetweenSameActions precise to the millisecond, elsewhere up to 10 ms too
  // few. Main thread only.
  static double timeSinceLastSelector(std::string_view selector);
  static void updateTimeForSelector(std::string_view selector);

  // Percent-encodes the text of a value: strings as they are, everything else by its description, "(null)"
  // for no value. Characters beyond ASCII stay as they are.
  static std::string urlEncode(const std::optional<platform::Value>& value);
  // Empty for text whose percent escapes are malformed.
  static std::string urlDecode(std::string_view text);

  // What a touch tells of its target (KovaUtil+Touch.cpp). Main thread only.

  // The nearest control from the view on along the responder chain, within 30 steps and not beyond a view
  // controller; null when there is none.
  static platform::UIControl* closestControl(platform::UIView& view);
  // The controller that the responder belongs to, itself not counted, within 30 steps; null when there is
  // none.
  static platform::UIViewController* owningViewController(const platform::UIResponder& responder);
  // The name of the first instance variable of the owning controller's own class that holds the responder,
  // without a leading underscore.
  static std::optional<platform::String> propertyName(const platform::UIResponder& responder);

  // The text that is shown inside the view, or "****" for it when redacted; what is typed into fields is
  // never read. At most 64 UTF-16 units and what completes the last character. However long the texts are, no
  // more than that is copied.
  static platform::String getText(const platform::UIView& view, bool redacted);
  // Appends such text to `output`, unless that holds `maxLength` units or more, and answers whether it did.
  // What is appended may exceed the length: it is cut by the caller.
  static bool extractText(const platform::UIView& view, std::string& output, bool redacted, int depth,
                          std::size_t maxLength);
  // The first `index` UTF-16 units and what completes the last character.
  static std::string_view truncateString(std::string_view text, std::size_t index);

  // Without one colon at the end.
  static std::optional<platform::String> trimSelector(const std::optional<platform::String>& name);
};

// Seconds. An action that comes no later than this after one of the same name is not looked at.
inline constexpr double kShortestTimeBetweenSameActions = 0.2;

inline constexpr int kAppVisibilityStateBackground = 1;
inline constexpr int kAppVisibilityStateForeground = 2;
