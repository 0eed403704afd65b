#include "src/pageviews/UIView+Visibility.h"

#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/pageviews/UIWindowScene+KOVA.h"

using namespace platform;

bool KOVA_isForegroundAndVisible(const UIView& view) {
  if (kova::appVisibilityState("KOVA_isForegroundAndVisible") == kAppVisibilityStateBackground) return false;
  const UIWindow* window = view.window();
  if (!window) return false;
  if (!UIScene::areAvailable()) return true;
  const auto scene = window->windowScene();
  return !scene || KOVA_isInForeground(*scene);
}

bool KOVA_isForegroundAndVisible(const UIViewController& controller) {
  const auto view = controller.viewIfLoaded();
  return view && KOVA_isForegroundAndVisible(*view);
}
