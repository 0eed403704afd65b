#pragma once

#include <memory>

#include "examples/storefront/Basket.h"
#include "examples/storefront/OrderDelegate.h"
#include "platform/uikit/UIKit.h"

// Where to and how paid, then the order is placed. The card's number is not captured at all, and of the
// address neither text nor label.
class CheckoutController : public platform::UIViewController {
  NS_OBJECT(CheckoutController, UIViewController)

 public:
  CheckoutController(std::shared_ptr<Basket> basket, std::weak_ptr<OrderDelegate> delegate);
  static void describe(platform::ClassBuilder<CheckoutController>& c);

  void loadView() override;

 private:
  void placeOrder();
  void cancel();

  const std::shared_ptr<Basket> basket_;
  const std::weak_ptr<OrderDelegate> delegate_;
  std::shared_ptr<platform::UITableViewCell> addressRow_;
  std::shared_ptr<platform::UITextField> cardNumberField_;
  std::shared_ptr<platform::UILabel> note_;
  std::shared_ptr<platform::UIButton> placeOrderButton_;
  std::shared_ptr<platform::UIButton> cancelButton_;
};
