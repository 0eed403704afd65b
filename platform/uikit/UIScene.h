#pragma once

#include <string_view>

#include "platform/runtime/Passkey.h"
#include "platform/uikit/UIResponder.h"

namespace platform {

class UIApplication;

enum class UISceneActivationState {
  Unattached = -1,
  ForegroundActive = 0,
  ForegroundInactive = 1,
  Background = 2
};

// Posted with the scene as object: when it comes back from the background and is inactive, when it has become
// active, before it stops being active, when it has gone to the background.
inline constexpr std::string_view UISceneWillEnterForegroundNotification =
    "UISceneWillEnterForegroundNotification";
inline constexpr std::string_view UISceneDidActivateNotification = "UISceneDidActivateNotification";
inline constexpr std::string_view UISceneWillDeactivateNotification = "UISceneWillDeactivateNotification";
inline constexpr std::string_view UISceneDidEnterBackgroundNotification =
    "UISceneDidEnterBackgroundNotification";

// One instance of the app's user interface, on systems from 13 on. Unattached until the application connects
// it (UIApplication::connectScene), which also holds it. Main thread only.
class PLATFORM_EXPORT UIScene : public UIResponder {
  NS_OBJECT(UIScene, UIResponder)

 public:
  // Whether the system has scenes at all.
  static bool areAvailable();

  virtual UISceneActivationState activationState() const { return state_; }
  UIResponder* nextResponder() const override;

  // For the host or a toolkit. Each changes the state and posts what belongs to the change; the application
  // that the scene is connected to follows. A scene that is in that state already is left alone.
  void enterForeground();                   // to ForegroundInactive
  void activate();                          // to ForegroundActive, by way of ForegroundInactive
  void deactivate();                        // to ForegroundInactive
  void enterBackground();                   // by way of ForegroundInactive
  void disconnect(Passkey<UIApplication>);  // to Unattached

 private:
  void post(std::string_view name);
  void letApplicationFollow();

  UISceneActivationState state_ = UISceneActivationState::Unattached;
};

}  // namespace platform
