#pragma once

#include <memory>

#include "examples/storefront/Product.h"
#include "platform/uikit/UIImageView.h"

// The product drawn in one of its colours.
std::shared_ptr<const platform::UIImage> pictureOf(const Product& product, platform::Color colour);
