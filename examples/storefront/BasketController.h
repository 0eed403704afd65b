#pragma once

#include <memory>

#include "examples/storefront/Basket.h"
#include "examples/storefront/OrderDelegate.h"
#include "examples/support/Column.h"
#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIKit.h"

// What is in the basket, and the way to the checkout.
class BasketController : public platform::UIViewController, public OrderDelegate {
  NS_OBJECT(BasketController, UIViewController)

 public:
  explicit BasketController(std::shared_ptr<Basket> basket);
  ~BasketController() override;
  static void describe(platform::ClassBuilder<BasketController>& c);

  void loadView() override;
  void viewWillAppear(bool animated) override;

  void orderWasPlaced(CheckoutController& checkout) override;
  void orderWasCancelled(CheckoutController& checkout) override;

 private:
  void checkOut();
  void showItems();

  const std::shared_ptr<Basket> basket_;
  platform::NSNotificationCenter::Token basketObserver_;
  std::shared_ptr<Column> column_;
  std::shared_ptr<platform::UIButton> checkOutButton_;
};
