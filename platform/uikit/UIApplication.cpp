#include "platform/uikit/UIApplication.h"

#include "platform/foundation/NSNotificationCenter.h"

namespace platform {

namespace {

std::shared_ptr<UIApplication>& shared() {
  static auto& application = *new std::shared_ptr<UIApplication>;
  return application;
}

}  // namespace

const std::shared_ptr<UIApplication>& UIApplication::sharedApplication() { return shared(); }

void UIApplication::setSharedApplication(std::shared_ptr<UIApplication> application) {
  shared() = std::move(application);
}

void UIApplication::enterBackground() {
  if (state_ == UIApplicationState::Background) return;
  state_ = UIApplicationState::Background;
  NSNotificationCenter::defaultCenter().post(UIApplicationDidEnterBackgroundNotification, shared_from_this());
}

void UIApplication::enterForeground() {
  if (state_ == UIApplicationState::Background) {
    NSNotificationCenter::defaultCenter().post(UIApplicationWillEnterForegroundNotification,
                                               shared_from_this());
  }
  state_ = UIApplicationState::Active;
}

}  // namespace platform
