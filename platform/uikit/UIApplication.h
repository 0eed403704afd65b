#pragma once

#include <memory>
#include <string_view>

#include "platform/runtime/NSObject.h"

namespace platform {

enum class UIApplicationState { Active = 0, Inactive = 1, Background = 2 };

// Posted with the application as object when it has gone to the background, and before it comes back.
inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";

// The running app. A host makes one and shares it; one without a user interface need not. Main thread only.
class UIApplication : public NSObject {
  NS_OBJECT(UIApplication, NSObject)

 public:
  // Null until a host shares its application.
  static const std::shared_ptr<UIApplication>& sharedApplication();
  static void setSharedApplication(std::shared_ptr<UIApplication> application);

  // Active unless the host or its toolkit says otherwise.
  virtual UIApplicationState applicationState() const { return state_; }

  // The host's or a toolkit's calls: change the state and post the notification of the change.
  void enterBackground();
  void enterForeground();
  void becomeInactive() { state_ = UIApplicationState::Inactive; }

 private:
  UIApplicationState state_ = UIApplicationState::Active;
};

}  // namespace platform
