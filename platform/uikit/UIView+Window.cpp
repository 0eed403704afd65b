#include "platform/uikit/UIView.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

void UIView::setNeedsDisplay() {
  if (UIWindow* const shownIn = window()) shownIn->noteNeedsDisplay();
}

bool UIView::becomeFirstResponder() { return window() && UIResponder::becomeFirstResponder(); }

void UIView::resignFirstResponderWithin() {
  const auto view = std::dynamic_pointer_cast<UIView>(firstResponder());
  if (!view || !view->isDescendantOfView(*this)) return;
  // It is told, but cannot refuse.
  if (!view->resignFirstResponder() && view->isFirstResponder()) clearFirstResponder();
}

}  // namespace platform
