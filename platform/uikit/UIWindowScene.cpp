#include "platform/uikit/UIWindowScene.h"

#include "platform/uikit/UIScreen.h"

namespace platform {

UIWindowScene::UIWindowScene() : UIWindowScene(UIScreen::mainScreen().bounds()) {}

std::shared_ptr<UIWindow> UIWindowScene::keyWindow() const { return windows_.key(); }

}  // namespace platform
