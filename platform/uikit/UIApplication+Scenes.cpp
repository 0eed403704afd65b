#include <algorithm>
#include <cmath>
#include <new>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "platform/uikit/WindowOrder.h"

namespace platform {

namespace {

// One pixel a point: the app switcher shows it small. Null for a scene of an impossible size, or when there
// is no memory for it.
std::unique_ptr<BitmapContext> sheetFor(CGSize size) {
  if (!Image::isPossible(std::ceil(size.width), std::ceil(size.height))) return nullptr;
  try {
    return std::make_unique<BitmapContext>(size, 1);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool takeSnapshot(UIWindowScene& scene) {
  const auto sheet = sheetFor(scene.frame().size);
  if (!sheet) return false;
  const auto windows = visibleWindowsFrontToBack(scene.windows());
  for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
    (*window)->layoutIfNeeded();
    const BitmapContext::State state(*sheet);
    const CGPoint place = (*window)->frame().origin;
    sheet->translate(place.x, place.y);
    (*window)->renderInContext(*sheet);
  }
  scene.setSnapshot(sheet->makeImage());
  return true;
}

bool performSnapshots(UIApplication&, SEL, const UIApplication::SnapshotAction& action, UIScene* scene,
                      const UIApplication::Completion& completion) {
  if (action) action();
  auto* const windowScene = dynamic_cast<UIWindowScene*>(scene);
  const bool isTaken = windowScene && takeSnapshot(*windowScene);
  if (completion) completion();
  return isTaken;
}

}  // namespace

constinit Method<bool(UIApplication&, const UIApplication::SnapshotAction&, UIScene*,
                      const UIApplication::Completion&)>
    UIApplication::performSnapshotsMethod{
        UIApplication::classObject, "_performSnapshotsWithAction:forScene:completion:", performSnapshots};

bool UIApplication::performSnapshotsWithAction(const SnapshotAction& action, UIScene* scene,
                                               const Completion& completion) {
  return performSnapshotsMethod.invoke(*this, action, scene, completion);
}

std::vector<std::shared_ptr<UIScene>> UIApplication::connectedScenes() const { return scenes_; }

std::vector<std::shared_ptr<UIWindow>> UIApplication::windows() const {
  const auto scenes = connectedScenes();
  if (scenes.empty()) return windows_.all();
  std::vector<std::shared_ptr<UIWindow>> windows;
  for (const auto& scene : scenes) {
    const auto* const windowScene = dynamic_cast<const UIWindowScene*>(scene.get());
    if (!windowScene) continue;
    const auto ofScene = windowScene->windows();
    windows.insert(windows.end(), ofScene.begin(), ofScene.end());
  }
  return windows;
}

bool UIApplication::connectScene(std::shared_ptr<UIScene> scene) {
  if (!scene || !UIScene::areAvailable()) return false;
  if (std::find(scenes_.begin(), scenes_.end(), scene) != scenes_.end()) return true;
  scenes_.push_back(scene);
  switch (state_) {
    case UIApplicationState::Active:
      scene->activate();
      break;
    case UIApplicationState::Inactive:
      scene->enterForeground();
      break;
    case UIApplicationState::Background:
      scene->enterBackground();
      break;
  }
  return true;
}

void UIApplication::disconnectScene(UIScene& scene) {
  const auto isIt = [&](const auto& each) { return each.get() == &scene; };
  const auto position = std::find_if(scenes_.begin(), scenes_.end(), isIt);
  if (position == scenes_.end()) return;
  const auto keep = *position;
  scenes_.erase(position);
  scene.disconnect();
  const auto key = keyWindow();
  if (key && key->windowScene() == keep) key->resignKeyWindow();
}

void UIApplication::becomeInactive() {
  if (state_ == UIApplicationState::Inactive) return;
  if (state_ == UIApplicationState::Background) return leaveBackground();
  const auto scenes = scenes_;
  for (const auto& scene : scenes) scene->deactivate();
  NSNotificationCenter::defaultCenter().post(UIApplicationWillResignActiveNotification, shared_from_this());
  state_ = UIApplicationState::Inactive;
}

void UIApplication::enterBackground() {
  if (state_ == UIApplicationState::Background) return;
  becomeInactive();
  state_ = UIApplicationState::Background;
  const auto scenes = scenes_;
  for (const auto& scene : scenes) scene->enterBackground();
  NSNotificationCenter::defaultCenter().post(UIApplicationDidEnterBackgroundNotification, shared_from_this());
  takeSnapshots();
}

void UIApplication::takeSnapshots() {
  const auto scenes = scenes_;
  for (const auto& scene : scenes) {
    if (!dynamic_cast<UIWindowScene*>(scene.get())) continue;
    performSnapshotsWithAction([] {}, scene.get(), [] {});
  }
}

void UIApplication::leaveBackground() {
  const auto scenes = scenes_;
  for (const auto& scene : scenes) scene->enterForeground();
  NSNotificationCenter::defaultCenter().post(UIApplicationWillEnterForegroundNotification,
                                             shared_from_this());
  state_ = UIApplicationState::Inactive;
}

void UIApplication::enterForeground() {
  if (state_ == UIApplicationState::Active) return;
  if (state_ == UIApplicationState::Background) leaveBackground();
  state_ = UIApplicationState::Active;
  const auto scenes = scenes_;
  for (const auto& scene : scenes) scene->activate();
  NSNotificationCenter::defaultCenter().post(UIApplicationDidBecomeActiveNotification, shared_from_this());
}

}  // namespace platform
