#include "platform/uikit/UIKeyboard.h"

#include "platform/uikit/UIScreen.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {

namespace {

constexpr UIWindowLevel kLevel = 10;  // above the app's windows, below the status bar and alerts

class UITextEffectsWindow : public UIWindow {
  NS_OBJECT(UITextEffectsWindow, UIWindow)

 public:
  using UIWindow::UIWindow;

  bool canBecomeKeyWindow() const override { return false; }
  UIView* hitTest(CGPoint point, UIEvent* event) override {
    UIView* hit = UIWindow::hitTest(point, event);
    return dynamic_cast<UIKeyboardLayoutStar*>(hit) ? hit : nullptr;
  }
};

class UIInputWindowController : public UIViewController {
  NS_OBJECT(UIInputWindowController, UIViewController)
};

CGSize screenSize(const std::shared_ptr<UIWindowScene>& scene) {
  return scene ? scene->frame().size : UIScreen::mainScreen().bounds().size;
}

}  // namespace

UIKeyboard& UIKeyboard::sharedKeyboard() {
  static UIKeyboard& keyboard = *new UIKeyboard;
  return keyboard;
}

void UIKeyboard::showFor(const UIView& editor) {
  editor_ = &editor;
  const UIWindow* const editorWindow = editor.window();
  if (!editorWindow) {
    if (window_) window_->setHidden(true);
    return;
  }
  const auto scene = editorWindow->windowScene();
  if (!window_) {
    makeWindow(scene);
  } else if (window_->windowScene() != scene) {
    window_->setWindowScene(scene);
  }
  const CGSize size = screenSize(scene);
  window_->setFrame({{}, size});
  layout_->setFrame(
      CGRectMake(0, size.height - UIKeyboardLayoutStar::kHeight, size.width, UIKeyboardLayoutStar::kHeight));
  window_->setHidden(false);
}

void UIKeyboard::hideFor(const UIView& editor) {
  if (editor_ != &editor) return;
  editor_ = nullptr;
  if (window_) window_->setHidden(true);
}

void UIKeyboard::makeWindow(const std::shared_ptr<UIWindowScene>& scene) {
  const auto controller = std::make_shared<UIInputWindowController>();
  layout_ = std::make_shared<UIKeyboardLayoutStar>();
  controller->view()->addSubview(layout_);
  window_ = std::make_shared<UITextEffectsWindow>(CGRect{{}, screenSize(scene)});
  window_->setWindowLevel(kLevel);
  window_->join(scene);
  window_->setRootViewController(controller);
}

}  // namespace platform
