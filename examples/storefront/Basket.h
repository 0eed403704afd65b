#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "examples/storefront/Product.h"

// Posted by a basket whose contents have changed.
inline constexpr std::string_view BasketDidChangeNotification = "BasketDidChangeNotification";

// What the customer has chosen so far. One for the whole app, whatever the number of its windows.
class Basket {
 public:
  struct Item {
    const Product* product;
    std::string size;
  };

  const std::vector<Item>& items() const { return items_; }
  bool isEmpty() const { return items_.empty(); }
  int total() const;

  void add(const Product& product, std::string size);
  void clear();

 private:
  std::vector<Item> items_;
};
