#pragma once

#include <string>
#include <vector>

#include "platform/graphics/Color.h"

// Something that the shop sells. The catalogue is made once and never changes.
struct Product {
  enum class Shape { Shirt, Beanie, Backpack, Mug, Umbrella, Notebook };

  std::string identifier;
  std::string name;
  std::string description;
  int price;  // euros
  Shape shape;
  std::vector<std::string> sizes;        // one at least
  std::vector<platform::Color> colours;  // one at least

  static const std::vector<Product>& catalogue();
};

std::string priceText(int euros);
