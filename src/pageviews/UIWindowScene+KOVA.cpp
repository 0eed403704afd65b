#include "src/pageviews/UIWindowScene+KOVA.h"

#include <mutex>

#include "platform/runtime/AddedMethod.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

using namespace platform;

namespace {

std::shared_ptr<UIWindow> firstKeyWindowOfScene(UIScene&, SEL) { return nullptr; }

std::shared_ptr<UIWindow> firstKeyWindowOfWindowScene(UIScene& scene, SEL) {
  for (auto& window : static_cast<UIWindowScene&>(scene).windows()) {
    if (window->isKeyWindow()) return window;
  }
  return nullptr;
}

constinit AddedMethod<std::shared_ptr<UIWindow>(UIScene&)> firstKeyWindowMethod{
    UIScene::classObject, "KOVA_firstKeyWindow", firstKeyWindowOfScene};

std::vector<std::shared_ptr<UIScene>> connectedScenes() {
  const auto& application = UIApplication::sharedApplication();
  return application ? application->connectedScenes() : std::vector<std::shared_ptr<UIScene>>();
}

}  // namespace

bool KOVA_isInForeground(const UIScene& scene) {
  const UISceneActivationState state = scene.activationState();
  return state == UISceneActivationState::ForegroundActive ||
         state == UISceneActivationState::ForegroundInactive;
}

std::shared_ptr<UIWindow> KOVA_firstKeyWindow(UIScene& scene) {
  static std::once_flag answered;
  std::call_once(answered,
                 [] { firstKeyWindowMethod.set(UIWindowScene::classObject(), firstKeyWindowOfWindowScene); });
  return firstKeyWindowMethod.send(scene);
}

std::shared_ptr<UIWindowScene> KOVA_activeWindowScene() {
  for (const auto& scene : connectedScenes()) {
    if (scene->activationState() != UISceneActivationState::ForegroundActive) continue;
    if (auto windowScene = std::dynamic_pointer_cast<UIWindowScene>(scene)) return windowScene;
  }
  return nullptr;
}

std::vector<std::shared_ptr<UIWindowScene>> KOVA_foregroundedWindowScenes() {
  std::vector<std::shared_ptr<UIWindowScene>> found;
  for (const auto& scene : connectedScenes()) {
    if (!KOVA_isInForeground(*scene)) continue;
    if (auto windowScene = std::dynamic_pointer_cast<UIWindowScene>(scene)) {
      found.push_back(std::move(windowScene));
    }
  }
  return found;
}
