#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/runtime/Method.h"
#include "platform/runtime/Passkey.h"
#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UIResponder.h"
#include "platform/uikit/WindowList.h"

namespace platform {

class UIAlertController;
class UIScene;
class UIWindow;

enum class UIApplicationState { Active = 0, Inactive = 1, Background = 2 };

// Posted with the application as object when it has gone to the background, and before it comes back.
inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr std::string_view UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr std::string_view UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";

// The running app: its windows and scenes, and what every event and action passes through. A host makes one
// and shares it; one without a user interface need not. Main thread only.
class PLATFORM_EXPORT UIApplication : public UIResponder {
  NS_OBJECT(UIApplication, UIResponder)

 public:
  using SnapshotAction = std::function<void()>;
  using Completion = std::function<void()>;

  // What others may replace.
  static Method<void(UIApplication&, UIEvent& event)> sendEventMethod;
  static Method<bool(UIApplication&, SEL action, NSObject* target, NSObject* sender, UIEvent* event)>
      sendActionMethod;
  static Method<void(UIApplication&, UIEventSubtype motion, UIEvent* event)> motionEndedMethod;
  static Method<bool(UIApplication&, const SnapshotAction& action, UIScene* scene,
                     const Completion& completion)>
      performSnapshotsMethod;

  static void describe(ClassBuilder<UIApplication>& c);

  // Null until a host shares its application.
  static const std::shared_ptr<UIApplication>& sharedApplication();
  static void setSharedApplication(std::shared_ptr<UIApplication> application);

  // Active unless the host or its toolkit says otherwise. With scenes, that of the most active one.
  virtual UIApplicationState applicationState() const { return state_; }
  // Every window of every scene, or, without scenes, those of the application. Back to front: by level,
  // within a level by when they were shown.
  virtual std::vector<std::shared_ptr<UIWindow>> windows() const;
  // Each scene has a key window: this is that of the most active scene, among equally active ones the window
  // made key last. Null when no window is key.
  virtual std::shared_ptr<UIWindow> keyWindow() const;
  // The scene whose window was made key last comes first, the others in the order of connection. None on
  // systems before 13.
  virtual std::vector<std::shared_ptr<UIScene>> connectedScenes() const;

  // "sendEvent:". Every touch passes here first; hands it to the windows it is in.
  virtual void sendEvent(UIEvent& event);
  // "sendAction:to:from:forEvent:". Calls the action of the target or, when that is null, of the first
  // responder in the chain of the sender (of the first responder, for a sender that is none) that has such an
  // action. Answers whether there is one. One that takes a sender or an event of another class is not called;
  // that, and an action that nobody has, is a line in the system log. What the action throws passes through.
  virtual bool sendAction(SEL action, NSObject* target, NSObject* sender, UIEvent* event);
  // "motionEnded:withEvent:". The end of the chain that a shake runs along.
  void motionEnded(UIEventSubtype motion, UIEvent* event) override;
  // "_performSnapshotsWithAction:forScene:completion:". Takes the picture of a scene for the app switcher:
  // runs `action`, which may arrange the windows for it, draws, and calls `completion`. Answers whether there
  // is a picture.
  virtual bool performSnapshotsWithAction(const SnapshotAction& action, UIScene* scene,
                                          const Completion& completion);

  // An alert is on the screen, and is no more: for a toolkit that shows it in its own way, and chooses.
  virtual void alertDidAppear(const std::shared_ptr<UIAlertController>& /*alert*/) {}
  virtual void alertDidDisappear(UIAlertController& /*alert*/) {}

  // The screen stays on while true. No unless set.
  bool isIdleTimerDisabled() const { return idleTimerDisabled_; }
  void setIdleTimerDisabled(bool disabled) { idleTimerDisabled_ = disabled; }

  // The host's or a toolkit's calls.
  // A system before 13 connects none: answers false and does nothing.
  bool connectScene(std::shared_ptr<UIScene> scene);
  void disconnectScene(UIScene& scene);
  // The device was shaken: along the responder chain from the first responder, or the key window.
  void shake();
  // Change the state, with that of every connected scene, and post the notifications of the change: scenes
  // before the application. Both are inactive already when it is posted that they will enter the foreground.
  void enterBackground();
  void enterForeground();
  void becomeInactive();
  // Of the windows without a scene, which enter themselves.
  WindowList& windowList(Passkey<UIWindow>) { return windows_; }
  // A scene leaves the background; and one has changed its state and said so.
  void sceneIsComing(Passkey<UIScene>, const UIScene& scene);
  void sceneHasChanged(Passkey<UIScene>) { followScenes(); }

 private:
  void followScenes();
  void moveScenes(void (UIScene::*step)());
  void leaveBackground();
  // The application's own steps, with their notifications.
  void willEnterForeground();
  void didBecomeActive();
  void willResignActive();
  void didEnterBackground();
  void takeSnapshots();

  UIApplicationState state_ = UIApplicationState::Active;
  WindowList windows_;  // those without a scene
  std::vector<std::shared_ptr<UIScene>> scenes_;
  bool isMovingScenes_ = false;  // which then do not move the application
  bool isComingBack_ = false;    // and has not said so yet
  bool idleTimerDisabled_ = false;
};

}  // namespace platform
