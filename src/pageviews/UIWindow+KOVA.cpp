#include "src/pageviews/UIWindow+KOVA.h"

#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/pageviews/UIWindowScene+KOVA.h"

using namespace platform;

namespace {

using Windows = std::vector<std::shared_ptr<UIWindow>>;

Windows windowsOfApplication() {
  const auto& application = UIApplication::sharedApplication();
  return application ? application->windows() : Windows();
}

void appendVisibleWindows(Windows& visible, const Windows& windows) {
  for (const auto& window : windows) {
    if (!window->isHidden()) visible.push_back(window);
  }
}

}  // namespace

std::shared_ptr<UIViewController> KOVA_deepestViewController(const UIWindow& window) {
  auto controller = window.rootViewController();
  if (!controller) return nullptr;
  for (int step = 0; step < kHierarchyStepLimit; ++step) {
    auto presented = controller->presentedViewController();
    if (!presented) break;
    controller = std::move(presented);
  }
  return controller;
}

Windows KOVA_allWindowsInScene(const UIWindow& window) {
  if (UIScene::areAvailable()) {
    if (const auto scene = window.windowScene()) return scene->windows();
  }
  return windowsOfApplication();
}

std::shared_ptr<UIWindow> KOVA_firstActiveKeyWindow() {
  if (UIScene::areAvailable()) {
    if (const auto scene = KOVA_activeWindowScene()) {
      if (auto window = KOVA_firstKeyWindow(*scene)) return window;
    }
  }
  const auto& application = UIApplication::sharedApplication();
  return application ? application->keyWindow() : nullptr;
}

Windows KOVA_allForegroundedAndVisibleWindows() {
  Windows visible;
  if (kova::appVisibilityState("KOVA_allForegroundedAndVisibleWindows") == kAppVisibilityStateBackground)
    return visible;
  if (UIScene::areAvailable()) {
    for (const auto& scene : KOVA_foregroundedWindowScenes()) appendVisibleWindows(visible, scene->windows());
  }
  if (visible.empty()) appendVisibleWindows(visible, windowsOfApplication());
  return visible;
}
