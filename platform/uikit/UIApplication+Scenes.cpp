#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/runtime/ScopedFlag.h"
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

UIApplicationState stateOf(const UIScene& scene) {
  switch (scene.activationState()) {
    case UISceneActivationState::ForegroundActive:
      return UIApplicationState::Active;
    case UISceneActivationState::ForegroundInactive:
      return UIApplicationState::Inactive;
    default:
      return UIApplicationState::Background;
  }
}

// When a window of the scene was made key; 0 when none was.
std::uint64_t keyOrderOf(const UIScene& scene) {
  const auto* const windowScene = dynamic_cast<const UIWindowScene*>(&scene);
  return windowScene ? windowScene->keyOrder() : 0;
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

std::vector<std::shared_ptr<UIScene>> UIApplication::connectedScenes() const {
  auto scenes = scenes_;
  std::stable_sort(scenes.begin(), scenes.end(),
                   [](const auto& a, const auto& b) { return keyOrderOf(*a) > keyOrderOf(*b); });
  return scenes;
}

std::vector<std::shared_ptr<UIWindow>> UIApplication::windows() const {
  const auto scenes = connectedScenes();
  std::vector<std::shared_ptr<UIWindow>> windows;
  if (scenes.empty()) windows = windows_.all();
  for (const auto& scene : scenes) {
    const auto* const windowScene = dynamic_cast<const UIWindowScene*>(scene.get());
    if (!windowScene) continue;
    const auto ofScene = windowScene->windows();
    windows.insert(windows.end(), ofScene.begin(), ofScene.end());
  }
  sortBackToFront(windows);
  return windows;
}

std::shared_ptr<UIWindow> UIApplication::keyWindow() const {
  std::shared_ptr<UIWindow> key;
  auto state = UIApplicationState::Background;
  for (const auto& scene : connectedScenes()) {  // the one used last comes first
    const auto* const windowScene = dynamic_cast<const UIWindowScene*>(scene.get());
    auto candidate = windowScene ? windowScene->keyWindow() : nullptr;
    if (!candidate || (key && stateOf(*scene) >= state)) continue;
    key = std::move(candidate);
    state = stateOf(*scene);
  }
  return key ? key : windows_.key();
}

bool UIApplication::connectScene(std::shared_ptr<UIScene> scene) {
  if (!scene || !UIScene::areAvailable()) return false;
  if (std::find(scenes_.begin(), scenes_.end(), scene) != scenes_.end()) return true;
  scenes_.push_back(scene);
  const ScopedFlag moving(isMovingScenes_);
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
  scene.disconnect({});
  followScenes();
}

// --- The state: the application moves its scenes, or follows the most active of those that move by
// themselves.

void UIApplication::moveScenes(void (UIScene::*step)()) {
  const ScopedFlag moving(isMovingScenes_);
  const auto scenes = scenes_;
  for (const auto& scene : scenes) ((*scene).*step)();
}

void UIApplication::becomeInactive() {
  if (state_ == UIApplicationState::Inactive) return;
  if (state_ == UIApplicationState::Background) return leaveBackground();
  moveScenes(&UIScene::deactivate);
  willResignActive();
}

void UIApplication::enterBackground() {
  if (state_ == UIApplicationState::Background) return;
  becomeInactive();
  state_ = UIApplicationState::Background;
  moveScenes(&UIScene::enterBackground);
  didEnterBackground();
}

void UIApplication::enterForeground() {
  if (state_ == UIApplicationState::Active) return;
  if (state_ == UIApplicationState::Background) leaveBackground();
  state_ = UIApplicationState::Active;
  moveScenes(&UIScene::activate);
  didBecomeActive();
}

void UIApplication::leaveBackground() {
  state_ = UIApplicationState::Inactive;
  moveScenes(&UIScene::enterForeground);
  willEnterForeground();
}

void UIApplication::sceneIsComing(Passkey<UIScene>, const UIScene& scene) {
  const auto isIt = [&](const auto& each) { return each.get() == &scene; };
  if (state_ != UIApplicationState::Background || std::ranges::none_of(scenes_, isIt)) return;
  state_ = UIApplicationState::Inactive;
  isComingBack_ = true;
}

void UIApplication::followScenes() {
  if (isMovingScenes_ || scenes_.empty()) return;
  auto target = UIApplicationState::Background;
  for (const auto& scene : scenes_) target = std::min(target, stateOf(*scene));
  if (std::exchange(isComingBack_, false)) willEnterForeground();
  if (state_ == UIApplicationState::Inactive && target == UIApplicationState::Active) didBecomeActive();
  if (state_ == UIApplicationState::Active && target != UIApplicationState::Active) willResignActive();
  if (state_ == UIApplicationState::Inactive && target == UIApplicationState::Background)
    didEnterBackground();
}

void UIApplication::willEnterForeground() {
  NSNotificationCenter::defaultCenter().post(UIApplicationWillEnterForegroundNotification,
                                             shared_from_this());
}

void UIApplication::didBecomeActive() {
  state_ = UIApplicationState::Active;
  NSNotificationCenter::defaultCenter().post(UIApplicationDidBecomeActiveNotification, shared_from_this());
}

void UIApplication::willResignActive() {
  NSNotificationCenter::defaultCenter().post(UIApplicationWillResignActiveNotification, shared_from_this());
  state_ = UIApplicationState::Inactive;
}

void UIApplication::didEnterBackground() {
  state_ = UIApplicationState::Background;
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

}  // namespace platform
