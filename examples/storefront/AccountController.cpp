#include "examples/storefront/AccountController.h"

#include <Kova/Kova.h>

#include "examples/storefront/Style.h"
#include "examples/support/Column.h"

using namespace platform;

AccountController::AccountController() { setTitle("Account"); }

void AccountController::describe(ClassBuilder<AccountController>& c) {
  c.ivar("_emailField", &AccountController::emailField_)
      .ivar("_signInButton", &AccountController::signInButton_)
      .action("signIn:", &AccountController::signIn);
}

void AccountController::loadView() {
  emailField_ = style::field("E-mail");
  emailField_->setAccessibilityIdentifier("e-mail");
  signInButton_ = style::primaryButton("Sign in");
  signInButton_->addTarget(shared_from_this(), SEL("signIn:"), UIControlEvents::TouchUpInside);
  greeting_ = style::text("Sign in to find your basket on all your devices.");

  const auto column = std::make_shared<Column>(style::kMargin);
  column->setBackgroundColor(style::colours().paper);
  column->add(style::title("Your account"), 36, 6);
  column->add(greeting_, 40, 12);
  column->add(emailField_, style::kRowHeight, 12);
  column->add(signInButton_, style::kRowHeight);
  setView(column);
}

void AccountController::signIn() {
  emailField_->resignFirstResponder();
  const auto email = emailField_->text().value_or("");
  if (email.view().find('@') == std::string_view::npos) {
    greeting_->setText("That is no e-mail address.");
    return;
  }
  Kova::identify(email);
  greeting_->setText("Welcome back.");
}
