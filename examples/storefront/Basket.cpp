#include "examples/storefront/Basket.h"

#include <utility>

#include "platform/foundation/NSNotificationCenter.h"

int Basket::total() const {
  int total = 0;
  for (const Item& item : items_) total += item.product->price;
  return total;
}

void Basket::add(const Product& product, std::string size) {
  items_.push_back({&product, std::move(size)});
  platform::NSNotificationCenter::defaultCenter().post(BasketDidChangeNotification);
}

void Basket::clear() {
  items_.clear();
  platform::NSNotificationCenter::defaultCenter().post(BasketDidChangeNotification);
}
