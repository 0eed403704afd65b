#pragma once

#include <memory>
#include <string_view>

#include "platform/uikit/UIViewController.h"

// Controllers of the apps that tests make up. `screen<CartController>("Cart")` has a title.

class CartController : public platform::UIViewController {
  NS_OBJECT(CartController, UIViewController)

 public:
  static void describe(platform::ClassBuilder<CartController>& c) {
    c.key("accessibilityIdentifier", [](const CartController&) { return "cart.screen"; });
  }
};

class AccountController : public platform::UIViewController {
  NS_OBJECT(AccountController, UIViewController)
};

// A controller of the system's, which is no screen of the app, and one that the app has made of it.
class UIInputWindowController : public platform::UIViewController {
  NS_OBJECT(UIInputWindowController, UIViewController)
};

class AppInputController : public UIInputWindowController {
  NS_OBJECT(AppInputController, UIInputWindowController)
};

template <class Controller = CartController>
std::shared_ptr<Controller> screen(std::string_view title = "") {
  auto controller = std::make_shared<Controller>();
  if (!title.empty()) controller->setTitle(title);
  return controller;
}
