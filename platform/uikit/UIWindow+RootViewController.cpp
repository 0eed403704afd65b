#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

void UIWindow::setHidden(bool hidden) {
  if (isHidden() == hidden) return;
  const auto keep = shared_from_this();
  if (!hidden) {
    joinIfAlone();
    bringToFront();
    UIView::setHidden(false);
    post(UIWindowDidBecomeVisibleNotification);
    showRootView();
    return;
  }
  const auto controller = rootViewController_;
  if (controller) controller->beginAppearanceTransition(false, false);
  UIView::setHidden(true);
  resignKeyWindow();
  if (controller) controller->endAppearanceTransition();
  post(UIWindowDidBecomeHiddenNotification);
}

void UIWindow::setRootViewController(std::shared_ptr<UIViewController> controller) {
  if (controller == rootViewController_) return;
  const auto keep = shared_from_this();
  const auto previous = std::exchange(rootViewController_, std::move(controller));
  if (previous) previous->beginAppearanceTransition(false, false);
  if (const auto view = previous ? previous->viewIfLoaded() : nullptr; view && view->superview() == this) {
    view->removeFromSuperview();
  }
  if (previous) previous->endAppearanceTransition();
  if (!isHidden()) showRootView();
}

void UIWindow::showRootView() {
  const auto controller = rootViewController_;
  if (!controller) return;
  const auto view = controller->view();
  controller->beginAppearanceTransition(true, false);
  view->setFrame(bounds());
  if (view->superview() != this) addSubview(view);
  layoutIfNeeded();
  controller->endAppearanceTransition();
}

void UIWindow::layoutSubviews() {
  const Subviews below = subviews();
  for (const auto& subview : below) {
    if (subview->viewController()) subview->setFrame(bounds());
  }
}

}  // namespace platform
