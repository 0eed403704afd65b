#pragma once

#include <memory>

#include "examples/storefront/Basket.h"
#include "platform/uikit/UIKit.h"

// One product: in which colour and size, and into the basket with it. A swipe over the picture shows the next
// colour.
class ProductController : public platform::UIViewController {
  NS_OBJECT(ProductController, UIViewController)

 public:
  ProductController(const Product& product, std::shared_ptr<Basket> basket);
  static void describe(platform::ClassBuilder<ProductController>& c);

  const Product& product() const { return product_; }
  void loadView() override;

 private:
  void showNextColour();
  void chooseSize();
  void addToBasket();

  const Product& product_;
  const std::shared_ptr<Basket> basket_;
  std::size_t colour_ = 0;
  std::shared_ptr<platform::UIImageView> picture_;
  std::shared_ptr<platform::UISegmentedControl> sizeControl_;
  std::shared_ptr<platform::UIButton> addToBasketButton_;
  std::shared_ptr<platform::UILabel> note_;
};
