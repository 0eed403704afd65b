#include "examples/storefront/ProductCard.h"

#include "examples/storefront/Style.h"
#include "examples/support/Drawing.h"

using namespace platform;

namespace {

constexpr double kInset = 10;
constexpr double kLineHeight = 20;

}  // namespace

ProductCard::ProductCard(const Product& product)
    : product_(product),
      picture_(std::make_shared<UIImageView>()),
      name_(std::make_shared<UILabel>(product.name)),
      price_(style::text(priceText(product.price))) {
  setBackgroundColor(style::colours().card);
  setCornerRadius(14);
  setBorder(1, style::colours().line);
  picture_->setImage(picture(product.drawing, product.colours.front(), style::colours().ground));
  name_->setFont(UIFont::systemFont(15, UIFont::Weight::Medium));
  name_->setTextColor(style::colours().ink);
  addSubview(picture_);
  addSubview(name_);
  addSubview(price_);
}

void ProductCard::layoutSubviews() {
  const CGSize size = bounds().size;
  const double width = size.width - 2 * kInset;
  picture_->setFrame(CGRectMake(kInset, kInset, width, size.height - 3 * kInset - 2 * kLineHeight));
  name_->setFrame(CGRectMake(kInset, size.height - kInset - 2 * kLineHeight, width, kLineHeight));
  price_->setFrame(CGRectMake(kInset, size.height - kInset - kLineHeight, width, kLineHeight));
}
