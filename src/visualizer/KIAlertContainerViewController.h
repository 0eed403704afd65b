#pragma once

#include <memory>

#include "platform/uikit/UIViewController.h"
#include "src/core/Threads.h"

namespace platform {
class UIWindow;
}

// The empty root of a window of the library's own, above the app's, from which an alert is presented.
//
// Shown by moveToTop and put away by removeAndRestorePrevious. In between the window and the container keep
// each other alive, and the window that was key before is kept, too; others hold the container weakly.
class KIAlertContainerViewController : public platform::UIViewController {
  NS_OBJECT(KIAlertContainerViewController, UIViewController)

 public:
  // Does nothing when the container is shown already.
  void moveToTop() KOVA_ON_MAIN_THREAD;
  // Gives the key status back to the window that had it, unless their scene is gone. Does nothing when the
  // container is not shown.
  void removeAndRestorePrevious() KOVA_ON_MAIN_THREAD;

  bool isActive() const KOVA_ON_MAIN_THREAD { return isActive_; }
  // Whether it is shown in a scene that is gone, where nobody can answer.
  bool isStranded() const KOVA_ON_MAIN_THREAD;

  // A window for the container in the scene of the given one, which may be null: then, and when that has
  // none, in the active scene. It covers the main screen where no scene is found.
  std::shared_ptr<platform::UIWindow> containerWindowForWindow(
      const std::shared_ptr<platform::UIWindow>& window) KOVA_ON_MAIN_THREAD;

 private:
  std::shared_ptr<platform::UIWindow> previousKeyWindow_ KOVA_OF_MAIN_THREAD;
  std::shared_ptr<platform::UIWindow> containerWindow_ KOVA_OF_MAIN_THREAD;
  bool isActive_ KOVA_OF_MAIN_THREAD = false;
  bool isInScene_ KOVA_OF_MAIN_THREAD = false;  // the window was made in one
};
