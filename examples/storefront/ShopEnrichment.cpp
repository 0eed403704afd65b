#include "examples/storefront/ShopEnrichment.h"

#include "examples/storefront/ProductCard.h"
#include "examples/storefront/ProductController.h"

using namespace platform;

std::optional<Dictionary> ShopEnrichment::autocaptureAncestryNodePropertiesForResponder(
    UIResponder& responder) {
  if (const auto* card = dynamic_cast<ProductCard*>(&responder)) {
    return Dictionary{{"productId", card->product().identifier}};
  }
  if (const auto* controller = dynamic_cast<ProductController*>(&responder)) {
    return Dictionary{{"productId", controller->product().identifier}};
  }
  return std::nullopt;
}

std::optional<Dictionary> ShopEnrichment::autocapturePageviewPropertiesForViewController(UIViewController&) {
  return Dictionary{{"basketSize", std::to_string(basket_->items().size())}};
}
