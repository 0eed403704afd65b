#include "examples/storefront/CheckoutController.h"

#include <Kova/Kova.h>
#include <Kova/KovaIgnore.h>

#include <utility>

#include "examples/storefront/Style.h"
#include "examples/support/Column.h"

using namespace platform;

CheckoutController::CheckoutController(std::shared_ptr<Basket> basket, std::weak_ptr<OrderDelegate> delegate)
    : basket_(std::move(basket)), delegate_(std::move(delegate)) {
  setTitle("Checkout");
}

void CheckoutController::describe(ClassBuilder<CheckoutController>& c) {
  c.ivar("_addressRow", &CheckoutController::addressRow_)
      .ivar("_cardNumberField", &CheckoutController::cardNumberField_)
      .ivar("_placeOrderButton", &CheckoutController::placeOrderButton_)
      .ivar("_cancelButton", &CheckoutController::cancelButton_)
      .action("placeOrder:", &CheckoutController::placeOrder)
      .action("cancel:", &CheckoutController::cancel);
}

void CheckoutController::loadView() {
  addressRow_ = style::row("12 Analytical Lane", "");
  setKovaRedactText(*addressRow_, true);
  setKovaRedactAccessibilityLabel(*addressRow_, true);
  cardNumberField_ = style::field("Card number");
  setKovaIgnore(*cardNumberField_, true);

  note_ = style::text("You can send anything back within thirty days.");
  placeOrderButton_ = style::primaryButton("Place order");
  placeOrderButton_->addTarget(shared_from_this(), SEL("placeOrder:"), UIControlEvents::TouchUpInside);
  cancelButton_ = style::plainButton("Not yet");
  cancelButton_->addTarget(shared_from_this(), SEL("cancel:"), UIControlEvents::TouchUpInside);

  const auto column = std::make_shared<Column>(style::kMargin);
  column->setBackgroundColor(style::colours().paper);
  column->add(style::title(priceText(basket_->total())), 36, 16);
  column->add(style::text("Delivered to London"), 20, 6);
  column->add(addressRow_, style::kRowHeight, 20);
  column->beginSecondPart();
  column->add(style::text("Paid by card"), 20, 6);
  column->add(cardNumberField_, style::kRowHeight, 20);
  column->add(placeOrderButton_, style::kRowHeight, 6);
  column->add(cancelButton_, style::kRowHeight, 6);
  column->add(note_, 40);
  setView(column);
}

void CheckoutController::placeOrder() {
  cardNumberField_->resignFirstResponder();
  if (cardNumberField_->text().value_or("").empty()) {
    note_->setText("Please enter the number of your card.");
    return;
  }
  if (basket_->isEmpty()) {  // ordered from another window meanwhile
    note_->setText("Your basket is empty.");
    return;
  }
  Kova::track("Order placed", {{"total", basket_->total()},
                               {"items", basket_->items().size()},
                               {"first item", basket_->items().front().product->identifier}});
  if (const auto delegate = delegate_.lock()) delegate->orderWasPlaced(*this);
}

void CheckoutController::cancel() {
  if (const auto delegate = delegate_.lock()) delegate->orderWasCancelled(*this);
}
