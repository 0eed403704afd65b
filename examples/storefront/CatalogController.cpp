#include "examples/storefront/CatalogController.h"

#include <algorithm>
#include <utility>

#include "examples/storefront/ProductController.h"
#include "examples/storefront/Style.h"
#include "platform/uikit/UINavigationController.h"

using namespace platform;

namespace {

constexpr double kGap = 14;
constexpr double kLowestCard = 220;
constexpr double kNarrowestCard = 300;  // with more than two in a row

}  // namespace

CatalogController::CatalogController(std::shared_ptr<Basket> basket) : basket_(std::move(basket)) {
  setTitle("Shop");
}

void CatalogController::describe(ClassBuilder<CatalogController>& c) {
  c.ivar("_scrollView", &CatalogController::scrollView_)
      .action("openProduct:", &CatalogController::openProduct);
}

void CatalogController::loadView() {
  scrollView_ = UIScrollView::create();
  scrollView_->setBackgroundColor(style::colours().paper);
  for (const Product& product : Product::catalogue()) {
    const auto card = std::make_shared<ProductCard>(product);
    card->addTarget(shared_from_this(), SEL("openProduct:"), UIControlEvents::TouchUpInside);
    scrollView_->addSubview(card);
    cards_.push_back(card);
  }
  setView(scrollView_);
}

void CatalogController::viewDidLayoutSubviews() {
  const double width = scrollView_->bounds().size.width;
  const auto columns = std::max<std::size_t>(
      2, static_cast<std::size_t>((width - 2 * style::kMargin + kGap) / (kNarrowestCard + kGap)));
  const double cardWidth = (width - 2 * style::kMargin + kGap) / static_cast<double>(columns) - kGap;
  const double cardHeight = std::max(kLowestCard, 0.75 * cardWidth);
  for (std::size_t i = 0; i < cards_.size(); ++i) {
    const auto column = static_cast<double>(i % columns);
    const auto row = static_cast<double>(i / columns);
    cards_[i]->setFrame(CGRectMake(style::kMargin + column * (cardWidth + kGap),
                                   style::kMargin + row * (cardHeight + kGap), cardWidth, cardHeight));
  }
  const auto rows = static_cast<double>((cards_.size() + columns - 1) / columns);
  scrollView_->setContentSize({width, 2 * style::kMargin + rows * (cardHeight + kGap) - kGap});
}

void CatalogController::openProduct(ProductCard* card) {
  const auto controller = std::make_shared<ProductController>(card->product(), basket_);
  navigationController()->pushViewController(controller, true);
}
