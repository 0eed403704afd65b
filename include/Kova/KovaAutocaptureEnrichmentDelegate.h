#pragma once

#include <optional>
#include <string_view>

#include "Kova/KovaExport.h"
#include "platform/foundation/Value.h"

namespace platform {
class UIControl;
class UIResponder;
class UITouch;
class UIView;
class UIViewController;
}  // namespace platform

// What a host implements to add to, or to replace, what is captured by itself. Every method is optional:
// answer nothing to leave the captured properties as they are. The entries of a dictionary win over the
// captured ones; one whose value is null is as if it were not there.
//
// No entry brings back a text, an accessibility label, a title or a variable name that the options leave out,
// nor an accessibility label that is redacted. A target text is sent as it is given, also where text is
// redacted: it is the host's own words, not what stands on the screen. So are identifiers, and the further
// entries of ancestry nodes and pageviews.
//
// Called on the main thread. Options hold the delegate weakly: the host keeps it alive.
class KOVA_EXPORT KovaAutocaptureEnrichmentDelegate {
 public:
  virtual ~KovaAutocaptureEnrichmentDelegate() = default;

  // Keyed by the KovaAncestryNodeProperty… constants.
  virtual std::optional<platform::Dictionary> autocaptureAncestryNodePropertiesForResponder(
      platform::UIResponder&) {
    return std::nullopt;
  }
  // Keyed by the KovaPageviewProperty… constants; further keys are sent along.
  virtual std::optional<platform::Dictionary> autocapturePageviewPropertiesForViewController(
      platform::UIViewController&) {
    return std::nullopt;
  }
  // Keyed by the KovaTouchEventProperty… constants. Touch and control are null where there is none.
  virtual std::optional<platform::Dictionary> autocaptureTouchEventPropertiesForEventType(
      std::string_view /*eventType*/, platform::UIView&, platform::UITouch*, platform::UIControl*) {
    return std::nullopt;
  }
};
