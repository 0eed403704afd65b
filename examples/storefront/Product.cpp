#include "examples/storefront/Product.h"

namespace {

constexpr platform::Color rgb(unsigned value) { return platform::Color::fromRGB(value); }

}  // namespace

const std::vector<Product>& Product::catalogue() {
  static const auto& catalogue = *new std::vector<Product>{
      {.identifier = "shirt-01",
       .name = "Linen shirt",
       .description = "Washed linen, cut straight. It gets softer with every summer that you wear it.",
       .price = 49,
       .drawing = Drawing::Shirt,
       .sizes = {"S", "M", "L"},
       .colours = {rgb(0x2F7D6B), rgb(0xC8553D), rgb(0x34506F)}},
      {.identifier = "beanie-02",
       .name = "Wool beanie",
       .description = "Merino from a family mill. Warm in the wind, and small enough for any pocket.",
       .price = 25,
       .drawing = Drawing::Beanie,
       .sizes = {"Kids", "Adults"},
       .colours = {rgb(0xC8553D), rgb(0x34506F)}},
      {.identifier = "backpack-03",
       .name = "Day backpack",
       .description =
           "Eighteen litres of waxed canvas with a sleeve for the laptop and one for the sandwich.",
       .price = 89,
       .drawing = Drawing::Backpack,
       .sizes = {"18 l", "24 l"},
       .colours = {rgb(0x34506F), rgb(0x8A6D3B)}},
      {.identifier = "mug-04",
       .name = "Stoneware mug",
       .description = "Thrown by hand and glazed twice. Holds the first coffee, and the second.",
       .price = 18,
       .drawing = Drawing::Mug,
       .sizes = {"Small", "Large"},
       .colours = {rgb(0x8A6D3B), rgb(0x2F7D6B)}},
      {.identifier = "umbrella-05",
       .name = "City umbrella",
       .description = "Eight fibreglass ribs that bend rather than break, and a handle of ash wood.",
       .price = 39,
       .drawing = Drawing::Umbrella,
       .sizes = {"Compact", "Full"},
       .colours = {rgb(0x6D4C7D), rgb(0xC8553D)}},
      {.identifier = "notebook-06",
       .name = "Field notebook",
       .description = "Ninety-six pages of paper that takes ink, sewn so that it lies flat on the table.",
       .price = 12,
       .drawing = Drawing::Notebook,
       .sizes = {"A6", "A5"},
       .colours = {rgb(0xB98B2F), rgb(0x34506F)}},
  };
  return catalogue;
}

std::string priceText(int euros) { return "€ " + std::to_string(euros); }
