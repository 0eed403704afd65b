#pragma once

#include <string>
#include <vector>

#include "examples/support/Drawing.h"
#include "platform/graphics/Color.h"

// Something that the shop sells. The catalogue is made once and never changes.
struct Product {
  std::string identifier;
  std::string name;
  std::string description;
  int price;  // euros
  Drawing drawing;
  std::vector<std::string> sizes;        // one at least
  std::vector<platform::Color> colours;  // one at least

  static const std::vector<Product>& catalogue();
};

std::string priceText(int euros);
