#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/uikit/GestureDelivery.h"
#include "platform/uikit/UIView.h"

namespace platform {

class UIScreen;
class UIWindowScene;
class WindowList;

// Order of windows: of two levels the higher is in front, within a level the one shown later.
using UIWindowLevel = double;
inline constexpr UIWindowLevel UIWindowLevelNormal = 0;
inline constexpr UIWindowLevel UIWindowLevelStatusBar = 1000;
inline constexpr UIWindowLevel UIWindowLevelAlert = 2000;

// Posted with the window as object.
inline constexpr std::string_view UIWindowDidBecomeVisibleNotification =
    "UIWindowDidBecomeVisibleNotification";
inline constexpr std::string_view UIWindowDidBecomeHiddenNotification = "UIWindowDidBecomeHiddenNotification";
inline constexpr std::string_view UIWindowDidBecomeKeyNotification = "UIWindowDidBecomeKeyNotification";
inline constexpr std::string_view UIWindowDidResignKeyNotification = "UIWindowDidResignKeyNotification";

// The root of a tree of views, and what the app's events enter through.
//
// A window is hidden until it is shown, and belongs to a scene, or on systems without scenes to the
// application, which list it weakly: the app holds its windows. At most one window of a scene is the key one.
// Main thread only.
class PLATFORM_EXPORT UIWindow : public UIView {
  NS_OBJECT(UIWindow, UIView)

 public:
  // On systems without scenes, and for windows that are placed in a scene later. Covers the main screen
  // unless a frame is given.
  static std::shared_ptr<UIWindow> create();
  static std::shared_ptr<UIWindow> create(CGRect frame);
  // Covers the scene.
  static std::shared_ptr<UIWindow> create(const std::shared_ptr<UIWindowScene>& scene);
  // Joins nothing before it is shown or placed in a scene.
  explicit UIWindow(CGRect frame);
  // Views that somebody still holds are taken from the window before it goes: editing in them ends. A key
  // window resigns.
  ~UIWindow() override;

  // Enters the window into its scene's, or the application's, list.
  void join(const std::shared_ptr<UIWindowScene>& scene);

  // Null on systems before 13, and for a window that was never placed in a scene.
  virtual std::shared_ptr<UIWindowScene> windowScene() const;
  void setWindowScene(const std::shared_ptr<UIWindowScene>& scene);

  virtual UIWindowLevel windowLevel() const { return level_; }
  void setWindowLevel(UIWindowLevel level) { level_ = level; }

  virtual bool isKeyWindow() const;
  // Shows the window in front of all of its level, and makes it the key one.
  void makeKeyAndVisible();
  void makeKeyWindow();
  // Whether a touch makes it the key window.
  virtual bool canBecomeKeyWindow() const { return true; }
  // Resigns for the window that was key before or, when that is gone or hidden, for the front-most one of the
  // scene that is shown and may be key.
  void resignKeyWindow();
  // Showing and hiding brings the controller's appearance with it.
  void setHidden(bool hidden) override;

  // The controller whose view fills the window; null for none. Its view is loaded when the window is shown.
  virtual std::shared_ptr<UIViewController> rootViewController() const { return rootViewController_; }
  void setRootViewController(std::shared_ptr<UIViewController> controller);

  UIWindow* window() const override { return const_cast<UIWindow*>(this); }
  UIResponder* nextResponder() const override;

  // Hands each touch of the event to the recognisers and the view that it belongs to; a finger that comes
  // down makes the window the key one first. What handlers of the app throw reaches the caller when all have
  // been told; the first of it, when several throw.
  virtual void sendEvent(UIEvent& event);

  // Grows each time the window is shown or brought to the front; 0 before the first.
  std::uint64_t shownOrder() const { return shownOrder_; }

  // Between the window's coordinates and its screen's. Its frame is in its scene's, or the screen's.
  CGPoint convertPointToScreen(CGPoint point) const;
  CGPoint convertPointFromScreen(CGPoint point) const;

  // Whether something in it has changed since this was last asked; a host that shows the window asks before
  // drawing.
  bool takeNeedsDisplay();
  void noteNeedsDisplay() { needsDisplay_ = true; }

  // The views of controllers fill the window.
  void layoutSubviews() override;

 private:
  WindowList* list() const;
  void leaveList();
  void joinIfAlone();
  std::shared_ptr<UIWindow> nextKeyWindow() const;
  void bringToFront();
  void showRootView();
  void post(std::string_view name);

  std::weak_ptr<UIWindowScene> scene_;
  std::weak_ptr<UIWindow> previousKeyWindow_;
  GestureDelivery gestures_;
  std::shared_ptr<UIViewController> rootViewController_;
  UIWindowLevel level_ = UIWindowLevelNormal;
  std::uint64_t shownOrder_ = 0;
  bool isListed_ = false;
  bool needsDisplay_ = true;
};

}  // namespace platform
