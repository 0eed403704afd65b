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
// captured ones, but never bring back what the options disable or a redaction hides.
//
// Called on the main thread. Options hold the delegate weakly: the host keeps it alive.
class KOVA_EXPORT KovaAutocaptureEnrichmentDelegate {
 public:
  virtual ~KovaAutocaptureEnrichmentDelegate() = default;

  // Keyed by the KovaAncestryNodeProperty… constants.
  virtual std::optional<platform::Dictionary> autocaptureAncestryNodeProperties(platform::UIResponder&) {
    return std::nullopt;
  }
  // Keyed by the KovaPageviewProperty… constants; further keys are sent along.
  virtual std::optional<platform::Dictionary> autocapturePageviewProperties(platform::UIViewController&) {
    return std::nullopt;
  }
  // Keyed by the KovaTouchEventProperty… constants. Touch and control are null where there is none.
  virtual std::optional<platform::Dictionary> autocaptureTouchEventProperties(std::string_view /*eventType*/,
                                                                              platform::UIView&,
                                                                              platform::UITouch*,
                                                                              platform::UIControl*) {
    return std::nullopt;
  }
};
