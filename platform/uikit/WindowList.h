#pragma once

#include <memory>
#include <vector>

namespace platform {

class UIWindow;

// Windows in the order in which they came, held weakly: those that have died are forgotten. Who lists windows
// owns one. Main thread only.
class WindowList {
 public:
  // Nothing happens when the window is there already.
  void add(const std::shared_ptr<UIWindow>& window);
  void remove(const UIWindow& window);
  std::vector<std::shared_ptr<UIWindow>> all() const;

 private:
  std::vector<std::weak_ptr<UIWindow>> windows_;
};

}  // namespace platform
