#include "platform/uikit/UIScene.h"

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/NSProcessInfo.h"
#include "platform/uikit/UIApplication.h"

namespace platform {

bool UIScene::areAvailable() {
  constexpr int kFirstSystemWithScenes = 13;
  return NSProcessInfo::processInfo().isOperatingSystemAtLeast(kFirstSystemWithScenes);
}

UIResponder* UIScene::nextResponder() const { return UIApplication::sharedApplication().get(); }

void UIScene::enterForeground() {
  if (state_ != UISceneActivationState::Unattached && state_ != UISceneActivationState::Background) return;
  state_ = UISceneActivationState::ForegroundInactive;
  if (const auto application = UIApplication::sharedApplication()) application->sceneIsComing({}, *this);
  post(UISceneWillEnterForegroundNotification);
  letApplicationFollow();
}

void UIScene::activate() {
  enterForeground();
  if (state_ == UISceneActivationState::ForegroundActive) return;
  state_ = UISceneActivationState::ForegroundActive;
  post(UISceneDidActivateNotification);
  letApplicationFollow();
}

void UIScene::deactivate() {
  if (state_ != UISceneActivationState::ForegroundActive) return;
  post(UISceneWillDeactivateNotification);
  state_ = UISceneActivationState::ForegroundInactive;
  letApplicationFollow();
}

void UIScene::enterBackground() {
  if (state_ == UISceneActivationState::Background) return;
  const bool wasInForeground = state_ != UISceneActivationState::Unattached;
  deactivate();
  state_ = UISceneActivationState::Background;
  if (wasInForeground) post(UISceneDidEnterBackgroundNotification);
  letApplicationFollow();
}

void UIScene::disconnect(Passkey<UIApplication>) { state_ = UISceneActivationState::Unattached; }

void UIScene::letApplicationFollow() {
  if (const auto application = UIApplication::sharedApplication()) application->sceneHasChanged({});
}

void UIScene::post(std::string_view name) {
  NSNotificationCenter::defaultCenter().post(name, shared_from_this());
}

}  // namespace platform
