#pragma once

#include <memory>

#include "examples/storefront/Product.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UIImageView.h"
#include "platform/uikit/UILabel.h"

// A product in the catalogue: its picture, name and price. A touch anywhere on it chooses the product.
class ProductCard : public platform::UIControl {
  NS_OBJECT(ProductCard, UIControl)

 public:
  explicit ProductCard(const Product& product);

  const Product& product() const { return product_; }
  void layoutSubviews() override;

 private:
  const Product& product_;
  std::shared_ptr<platform::UIImageView> picture_;
  std::shared_ptr<platform::UILabel> name_;
  std::shared_ptr<platform::UILabel> price_;
};
