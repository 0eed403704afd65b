#pragma once

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>

#include <memory>

#include "examples/storefront/Basket.h"

// What the shop knows and the screen does not say: the product that is touched, and how full the basket is.
class ShopEnrichment : public KovaAutocaptureEnrichmentDelegate {
 public:
  explicit ShopEnrichment(std::shared_ptr<Basket> basket) : basket_(std::move(basket)) {}

  std::optional<platform::Dictionary> autocaptureAncestryNodePropertiesForResponder(
      platform::UIResponder& responder) override;
  std::optional<platform::Dictionary> autocapturePageviewPropertiesForViewController(
      platform::UIViewController&) override;

 private:
  const std::shared_ptr<Basket> basket_;
};
