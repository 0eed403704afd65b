#include "platform/uikit/UIWindowScene.h"
#include "platform/uikit/WindowOrder.h"

namespace platform {

std::vector<std::shared_ptr<UIWindow>> UIWindowScene::windows() const {
  auto windows = windows_.all();
  sortBackToFront(windows);
  return windows;
}

}  // namespace platform
