#include "platform/uikit/UITouch.h"

namespace platform {

void UITouch::describe(ClassBuilder<UITouch>& c) {
  c.observableKey("phase", &UITouch::phase)
      .key("tapCount", &UITouch::tapCount)
      .key("timestamp", &UITouch::timestamp);
}

void UITouch::setPhase(UITouchPhase phase) {
  phase_ = phase;
  didChangeValueForKey("phase");
}

void UITouch::setTarget(std::shared_ptr<UIWindow> window, std::shared_ptr<UIView> view) {
  window_ = std::move(window);
  view_ = std::move(view);
}

}  // namespace platform
