#include "src/visualizer/KIAlertContainerViewController.h"

#include <utility>

#include "platform/runtime/Retained.h"
#include "platform/uikit/UIScreen.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/pageviews/UIWindowScene+KOVA.h"

using namespace platform;

namespace {

std::shared_ptr<UIWindow> emptyWindowBeside(const std::shared_ptr<UIWindow>& window) KOVA_ON_MAIN_THREAD {
  auto scene = window ? window->windowScene() : nullptr;
  if (!scene) scene = KOVA_activeWindowScene();
  return scene ? UIWindow::create(scene) : UIWindow::create(UIScreen::mainScreen().bounds());
}

}  // namespace

void KIAlertContainerViewController::moveToTop() {
  if (isActive_) return;
  previousKeyWindow_ = KOVA_firstActiveKeyWindow();
  if (!containerWindow_) containerWindow_ = containerWindowForWindow(previousKeyWindow_);
  isInScene_ = containerWindow_->windowScene() != nullptr;
  isActive_ = true;
  containerWindow_->makeKeyAndVisible();
}

void KIAlertContainerViewController::removeAndRestorePrevious() {
  if (!isActive_) return;
  // The window may be all that keeps this container.
  const auto kept = shared_from_this();
  const bool isGone = isStranded();
  isActive_ = false;
  const auto window = std::exchange(containerWindow_, nullptr);
  const auto previous = std::exchange(previousKeyWindow_, nullptr);
  if (previous && !isGone) previous->makeKeyWindow();
  window->setHidden(true);
}

bool KIAlertContainerViewController::isStranded() const {
  if (!isActive_ || !isInScene_) return false;
  const auto scene = containerWindow_->windowScene();
  return !scene || scene->activationState() == UISceneActivationState::Unattached;
}

std::shared_ptr<UIWindow> KIAlertContainerViewController::containerWindowForWindow(
    const std::shared_ptr<UIWindow>& window) {
  auto container = emptyWindowBeside(window);
  container->setWindowLevel(UIWindowLevelAlert);
  container->setRootViewController(retained(*this));
  return container;
}
