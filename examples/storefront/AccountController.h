#pragma once

#include <memory>

#include "platform/uikit/UIKit.h"

// Who the customer is: an e-mail address, once there is one.
class AccountController : public platform::UIViewController {
  NS_OBJECT(AccountController, UIViewController)

 public:
  AccountController();
  static void describe(platform::ClassBuilder<AccountController>& c);

  void loadView() override;

 private:
  void signIn();

  std::shared_ptr<platform::UITextField> emailField_;
  std::shared_ptr<platform::UIButton> signInButton_;
  std::shared_ptr<platform::UILabel> greeting_;
};
