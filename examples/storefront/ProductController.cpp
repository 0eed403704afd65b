#include "examples/storefront/ProductController.h"

#include <utility>

#include "examples/storefront/Style.h"
#include "examples/support/Column.h"
#include "examples/support/Drawing.h"
#include "platform/uikit/UISwipeGestureRecognizer.h"

using namespace platform;

ProductController::ProductController(const Product& product, std::shared_ptr<Basket> basket)
    : product_(product), basket_(std::move(basket)) {
  setTitle(product.name);
}

void ProductController::describe(ClassBuilder<ProductController>& c) {
  c.ivar("_picture", &ProductController::picture_)
      .ivar("_sizeControl", &ProductController::sizeControl_)
      .ivar("_addToBasketButton", &ProductController::addToBasketButton_)
      .action("showNextColour:", &ProductController::showNextColour)
      .action("chooseSize:", &ProductController::chooseSize)
      .action("addToBasket:", &ProductController::addToBasket);
}

void ProductController::loadView() {
  picture_ = std::make_shared<UIImageView>();
  picture_->setImage(picture(product_.drawing, product_.colours.front(), style::colours().ground));
  picture_->setAccessibilityLabel("Picture of " + product_.name);
  picture_->setUserInteractionEnabled(true);
  const auto swipe = UIGestureRecognizer::create<UISwipeGestureRecognizer>(this, SEL("showNextColour:"));
  swipe->setDirection(UISwipeGestureRecognizerDirection::Left);
  picture_->addGestureRecognizer(swipe);

  sizeControl_ =
      std::make_shared<UISegmentedControl>(std::vector<String>(product_.sizes.begin(), product_.sizes.end()));
  sizeControl_->setAccessibilityIdentifier("size");
  sizeControl_->setSelectedSegmentIndex(0);
  sizeControl_->addTarget(shared_from_this(), SEL("chooseSize:"), UIControlEvents::ValueChanged);

  addToBasketButton_ = style::primaryButton("Add to basket");
  addToBasketButton_->addTarget(shared_from_this(), SEL("addToBasket:"), UIControlEvents::TouchUpInside);
  note_ = style::text("Delivered in two days");

  const auto column = std::make_shared<Column>(style::kMargin);
  column->setBackgroundColor(style::colours().paper);
  column->addPicture(picture_, 250);
  column->beginSecondPart();
  column->add(style::title(product_.name), 30, 4);
  column->add(style::text(priceText(product_.price)), Column::kFitting, 10);
  column->add(style::text(product_.description), Column::kFitting, 16);
  column->add(sizeControl_, 36, 16);
  column->add(addToBasketButton_, style::kRowHeight, 10);
  column->add(note_, 22);
  setView(column);
}

void ProductController::showNextColour() {
  colour_ = (colour_ + 1) % product_.colours.size();
  picture_->setImage(picture(product_.drawing, product_.colours[colour_], style::colours().ground));
}

void ProductController::chooseSize() { note_->setText("Delivered in two days"); }

void ProductController::addToBasket() {
  const auto& size = product_.sizes[static_cast<std::size_t>(sizeControl_->selectedSegmentIndex())];
  basket_->add(product_, size);
  note_->setText("In your basket, size " + size);
}
