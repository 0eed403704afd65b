#pragma once

#include <memory>
#include <string>

#include "platform/uikit/UIKit.h"

// What is touched in the measurements of capture: an app whose one screen shows a button, which has 30
// responders from itself to the application, two texts, and a name in a controller with 50 instance
// variables, of which it is the last.
namespace bench {

class ScreenController : public platform::UIViewController {
  NS_OBJECT(ScreenController, UIViewController)

 public:
  static void describe(platform::ClassBuilder<ScreenController>& c) {
    constexpr int kOtherVariables = 49;
    for (int i = 0; i < kOtherVariables; ++i) c.ivar("_view" + std::to_string(i), &ScreenController::other);
    c.ivar("_payButton", &ScreenController::payButton).action("pay:", &ScreenController::pay);
  }
  void pay(platform::UIButton*) {}

  std::shared_ptr<platform::UIView> other = std::make_shared<platform::UIView>();
  std::shared_ptr<platform::UIButton> payButton = std::make_shared<platform::UIButton>();
};

struct Screen {
  // Shown once the library has been initialised, so that the screen has its pageview.
  Screen() {
    using namespace platform;
    constexpr int kViewsAboveButton = 26;  // with the button, the controller, the window and the app: 30
    const std::shared_ptr<UIButton>& button = controller->payButton;
    std::shared_ptr<UIView> view = controller->view();
    for (int i = 1; i < kViewsAboveButton; ++i) {
      const auto inner = std::make_shared<UIView>(window->bounds());
      inner->setAccessibilityIdentifier("level " + std::to_string(i));
      view->addSubview(inner);
      view = inner;
    }
    button->setFrame(window->bounds());
    button->addSubview(std::make_shared<UILabel>("Pay now"));
    button->addSubview(std::make_shared<UILabel>("and get it tomorrow"));
    button->addTarget(controller, SEL("pay:"), UIControlEvents::TouchUpInside);
    view->addSubview(button);
    window->setRootViewController(controller);
  }
  void show() const { window->makeKeyAndVisible(); }

  // A finger that has just come down on the button, as the application is told of it.
  std::shared_ptr<platform::UIEvent> touchOnButton() const {
    const auto touch = std::make_shared<platform::UITouch>();
    touch->setTarget(window, controller->payButton);
    const auto event = std::make_shared<platform::UIEvent>();
    event->addTouch(touch);
    return event;
  }

  const std::shared_ptr<platform::UIApplication> application = platform::UIApplication::sharedApplication();
  const std::shared_ptr<platform::UIWindow> window = platform::UIWindow::create();
  const std::shared_ptr<ScreenController> controller = std::make_shared<ScreenController>();
};

}  // namespace bench
