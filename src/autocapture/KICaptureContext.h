#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

namespace platform {
class UIControl;
class UIResponder;
class UITouch;
class UIView;
}  // namespace platform

// What the capture of a touch or of an ancestry needs to know of the tracker, which implements it: the
// settings in force, the session, and what the app adds.
class KICaptureContext {
 public:
  enum class ViewAncestry : bool { Omit, Capture };

  virtual bool isTextCaptureDisabled() const = 0;
  virtual bool isAccessibilityLabelCaptureDisabled() const = 0;
  virtual bool isIvarCaptureDisabled() const = 0;
  // How many responders an ancestry holds at most.
  virtual std::int64_t hierarchyCaptureLimit() const = 0;
  virtual bool enableAccessibilityPrefetching() const = 0;
  virtual std::string sessionId() const = 0;

  // Entries that win over the captured ones; nothing when the app adds nothing, or when there is no type,
  // view or responder to ask about.
  virtual std::optional<platform::Dictionary> overriddenTouchEventPropertiesForEventType(
      std::string_view eventType, platform::UIView* view, platform::UITouch* touch,
      platform::UIControl* control) const KOVA_ON_MAIN_THREAD = 0;
  virtual std::optional<platform::Dictionary> overriddenAncestryNodePropertiesForResponder(
      platform::UIResponder* responder) const KOVA_ON_MAIN_THREAD = 0;

 protected:
  ~KICaptureContext() = default;
};
