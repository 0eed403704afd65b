#include "platform/uikit/WindowOrder.h"

#include <algorithm>

#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {

namespace {

bool isInForegroundAt(const UIWindow& window, CGPoint pointOnScreen) {
  const auto scene = window.windowScene();
  if (!scene) return true;
  const auto state = scene->activationState();
  const bool isInForeground = state == UISceneActivationState::ForegroundActive ||
                              state == UISceneActivationState::ForegroundInactive;
  return isInForeground && CGRectContainsPoint(scene->frame(), pointOnScreen);
}

}  // namespace

void sortBackToFront(std::vector<std::shared_ptr<UIWindow>>& windows) {
  std::stable_sort(windows.begin(), windows.end(), [](const auto& a, const auto& b) {
    if (a->windowLevel() != b->windowLevel()) return a->windowLevel() < b->windowLevel();
    return a->shownOrder() < b->shownOrder();
  });
}

std::vector<std::shared_ptr<UIWindow>> visibleWindowsFrontToBack(
    std::vector<std::shared_ptr<UIWindow>> windows) {
  std::erase_if(windows, [](const auto& window) { return window->isHidden(); });
  sortBackToFront(windows);
  std::reverse(windows.begin(), windows.end());
  return windows;
}

WindowHit hitTestWindows(CGPoint pointOnScreen) {
  const auto& application = UIApplication::sharedApplication();
  if (!application) return {};
  for (const auto& window : visibleWindowsFrontToBack(application->windows())) {
    if (!isInForegroundAt(*window, pointOnScreen)) continue;
    window->layoutIfNeeded();
    if (UIView* const hit = window->hitTest(window->convertPointFromScreen(pointOnScreen), nullptr)) {
      return {window, std::static_pointer_cast<UIView>(hit->shared_from_this())};
    }
  }
  return {};
}

}  // namespace platform
