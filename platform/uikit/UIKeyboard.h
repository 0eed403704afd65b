#pragma once

#include <memory>

#include "platform/uikit/UIKeyboardLayoutStar.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

// The system's keyboard: at the bottom of the screen, in a window of its own in front of the app's, for as
// long as a text field is edited.
//
// One a process; its window ("UITextEffectsWindow", with a root controller "UIInputWindowController") is made
// when it is first shown and never destroyed. The window is listed with the scene's others, is never the key
// one, and lets touches outside the keys pass. Main thread only.
class UIKeyboard {
 public:
  static UIKeyboard& sharedKeyboard();
  UIKeyboard(const UIKeyboard&) = delete;
  UIKeyboard& operator=(const UIKeyboard&) = delete;

  // On the screen of the view that is typed into from now on; nowhere when that is in no window.
  void showFor(const UIView& editor);
  // Unless the keyboard is another view's by now.
  void hideFor(const UIView& editor);

  // Null before the keyboard is first shown.
  const std::shared_ptr<UIWindow>& window() const { return window_; }
  const std::shared_ptr<UIKeyboardLayoutStar>& layout() const { return layout_; }

 private:
  UIKeyboard() = default;
  void makeWindow(const std::shared_ptr<UIWindowScene>& scene);

  const UIView* editor_ = nullptr;  // to compare with
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UIKeyboardLayoutStar> layout_;
};

}  // namespace platform
