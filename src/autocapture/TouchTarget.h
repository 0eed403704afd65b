#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/String.h"
#include "platform/foundation/Value.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/core/Threads.h"

class KIViewAncestry;
namespace platform {
class UIViewController;
}

namespace kova {

// What was seen of a touch, a gesture or a field edit.
struct SeenTouch {
  platform::String eventType;                // "touch", "fieldedit" or the class name of a gesture recogniser
  std::shared_ptr<platform::UIView> view;    // null for an object that is none
  std::shared_ptr<platform::UITouch> touch;  // null for all but a touch
  std::optional<platform::String> selector;
  KICaptureContext::ViewAncestry viewAncestry;
};

// What it is about, as it is found before there is an event of it.
struct TouchTarget {
  platform::String eventType;
  std::shared_ptr<platform::UIView> view;  // or the outermost one around it that hides its inner hierarchy
  std::shared_ptr<platform::UITouch> touch;
  std::shared_ptr<platform::UIControl> closestControl;
  platform::String viewClassName;
  std::optional<platform::String> selector;
  std::shared_ptr<KIViewAncestry> ancestry;  // null when it is not to be captured
  platform::Dictionary overrides;            // what the app says instead
  unsigned ignoreRules;                      // those in force for the view, see UIResponder+KovaIgnore.h
};

// The nearest control from the view on along the responder chain, within 30 steps and not beyond a view
// controller; null when there is none.
platform::UIControl* closestControl(platform::UIView& view) KOVA_ON_MAIN_THREAD;
// The controller that the responder belongs to, itself not counted, within 30 steps; null when there is none.
platform::UIViewController* owningViewController(const platform::UIResponder& responder) KOVA_ON_MAIN_THREAD;
// The name of the first instance variable of the owning controller's own class that holds the responder,
// without a leading underscore.
std::optional<platform::String> propertyName(const platform::UIResponder& responder) KOVA_ON_MAIN_THREAD;

// The text that is shown inside the view, or "****" for it when redacted; what is typed into fields is never
// read. At most 64 UTF-16 units and what completes the last character. However long the texts are, no more
// than that is copied.
platform::String getText(const platform::UIView& view, bool redacted) KOVA_ON_MAIN_THREAD;
// Appends such text to `output`, unless that holds `maxLength` units or more, and answers whether it did.
// What is appended may exceed the length: it is cut by the caller.
bool extractText(const platform::UIView& view, std::string& output, bool redacted, int depth,
                 std::size_t maxLength) KOVA_ON_MAIN_THREAD;
// The first `index` UTF-16 units and what completes the last character.
std::string_view truncateString(std::string_view text, std::size_t index);

// Without one colon at the end.
std::optional<platform::String> trimSelector(const std::optional<platform::String>& name);

}  // namespace kova
