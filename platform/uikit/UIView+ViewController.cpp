#include "platform/uikit/UIView.h"
#include "platform/uikit/UIViewController.h"

namespace platform {

UIResponder* UIView::nextResponder() const {
  if (viewController_) return viewController_;
  return superview();
}

void UIView::layoutIfNeeded() {
  if (isDrawnWhole()) return;
  if (needsLayout_) {
    needsLayout_ = false;
    layoutSubviews();
    if (viewController_) viewController_->viewDidLayoutSubviews();
  }
  const Subviews below = subviews();
  for (const auto& subview : below) subview->layoutIfNeeded();
}

}  // namespace platform
