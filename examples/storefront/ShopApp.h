#pragma once

#include <memory>
#include <vector>

#include "examples/storefront/Basket.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

// The shop: one basket, and a window with the shop's three tabs for each scene. Main thread only.
class ShopApp {
 public:
  const std::shared_ptr<Basket>& basket() const { return basket_; }

  // The rectangle of the screen, in points, of the scene with the number `index` among `count` side by side.
  static platform::CGRect frameOfScene(int index, int count);
  // Shows the shop there.
  std::shared_ptr<platform::UIWindowScene> openScene(platform::CGRect frame);
  // In the order of their opening.
  const std::vector<std::shared_ptr<platform::UIWindow>>& windows() const { return windows_; }

 private:
  const std::shared_ptr<Basket> basket_ = std::make_shared<Basket>();
  std::vector<std::shared_ptr<platform::UIWindow>> windows_;
};
