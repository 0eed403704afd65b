#include "platform/uikit/UIApplication.h"

namespace platform {

namespace {

std::shared_ptr<UIApplication>& shared() {
  static auto& application = *new std::shared_ptr<UIApplication>;
  return application;
}

}  // namespace

void UIApplication::describe(ClassBuilder<UIApplication>& c) {
  c.method(sendEventMethod).method(sendActionMethod).method(motionEndedMethod).method(performSnapshotsMethod);
}

const std::shared_ptr<UIApplication>& UIApplication::sharedApplication() { return shared(); }

void UIApplication::setSharedApplication(std::shared_ptr<UIApplication> application) {
  shared() = std::move(application);
}

}  // namespace platform
