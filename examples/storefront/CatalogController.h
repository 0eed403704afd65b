#pragma once

#include <memory>
#include <vector>

#include "examples/storefront/Basket.h"
#include "examples/storefront/ProductCard.h"
#include "platform/uikit/UIScrollView.h"
#include "platform/uikit/UIViewController.h"

// All products, two or more side by side. Choosing one opens its own screen.
class CatalogController : public platform::UIViewController {
  NS_OBJECT(CatalogController, UIViewController)

 public:
  explicit CatalogController(std::shared_ptr<Basket> basket);
  static void describe(platform::ClassBuilder<CatalogController>& c);

  void loadView() override;
  void viewDidLayoutSubviews() override;

 private:
  void openProduct(ProductCard* card);

  const std::shared_ptr<Basket> basket_;
  std::shared_ptr<platform::UIScrollView> scrollView_;
  std::vector<std::shared_ptr<ProductCard>> cards_;
};
