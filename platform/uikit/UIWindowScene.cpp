#include "platform/uikit/UIWindowScene.h"

#include "platform/uikit/UIScreen.h"

namespace platform {

UIWindowScene::UIWindowScene() : UIWindowScene(UIScreen::mainScreen().bounds()) {}

std::vector<std::shared_ptr<UIWindow>> UIWindowScene::windows() const { return windows_.all(); }

void UIWindowScene::addWindow(const std::shared_ptr<UIWindow>& window) { windows_.add(window); }

void UIWindowScene::removeWindow(const UIWindow& window) { windows_.remove(window); }

}  // namespace platform
