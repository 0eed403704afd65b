#include "examples/storefront/BasketController.h"

#include <utility>

#include "examples/storefront/CheckoutController.h"
#include "examples/storefront/Style.h"

using namespace platform;

BasketController::BasketController(std::shared_ptr<Basket> basket)
    : basket_(std::move(basket)),
      basketObserver_(NSNotificationCenter::defaultCenter().addObserver(
          BasketDidChangeNotification, [this](const NSNotification&) { showItems(); })) {
  setTitle("Basket");
}

BasketController::~BasketController() {
  NSNotificationCenter::defaultCenter().removeObserver(basketObserver_);
}

void BasketController::describe(ClassBuilder<BasketController>& c) {
  c.ivar("_checkOutButton", &BasketController::checkOutButton_)
      .action("checkOut:", &BasketController::checkOut);
}

void BasketController::loadView() {
  column_ = std::make_shared<Column>(style::kMargin);
  column_->setBackgroundColor(style::colours().paper);
  checkOutButton_ = style::primaryButton("Check out");
  checkOutButton_->addTarget(shared_from_this(), SEL("checkOut:"), UIControlEvents::TouchUpInside);
  setView(column_);
}

void BasketController::viewWillAppear(bool) { showItems(); }

void BasketController::showItems() {
  if (!viewIfLoaded()) return;
  column_->removeAll();
  if (basket_->isEmpty()) {
    column_->add(style::title("Your basket is empty"), 30, 6);
    column_->add(style::text("What you choose in the shop waits for you here."), 40);
    return;
  }
  for (const Basket::Item& item : basket_->items()) {
    const auto& [product, size] = item;
    column_->add(style::row(product->name + ", " + size, priceText(product->price)), style::kRowHeight, 8);
  }
  column_->beginSecondPart();
  column_->add(style::title("Total " + priceText(basket_->total())), 44);
  column_->add(checkOutButton_, style::kRowHeight);
}

void BasketController::checkOut() {
  const auto self = std::static_pointer_cast<BasketController>(shared_from_this());
  const auto checkout = std::make_shared<CheckoutController>(basket_, self);
  presentViewController(style::stackOf(checkout), true);
}

void BasketController::orderWasPlaced(CheckoutController& checkout) {
  basket_->clear();
  checkout.dismissViewController(true, [this] {
    const auto alert =
        std::make_shared<UIAlertController>("Order placed", "It will be with you in two days.");
    alert->addAction(std::make_shared<UIAlertAction>("OK", UIAlertAction::Style::Default, nullptr));
    presentViewController(alert, true);
  });
}

void BasketController::orderWasCancelled(CheckoutController& checkout) {
  checkout.dismissViewController(true);
}
