#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

class UIWindow;

// The windows of a scene, or of an application without scenes, held weakly: those that have died are
// forgotten. At most one of them is the key window. Main thread only.
class WindowList {
 public:
  // Nothing happens when the window is there already.
  void add(const std::shared_ptr<UIWindow>& window);
  void remove(const UIWindow& window);
  // In the order in which they were added.
  std::vector<std::shared_ptr<UIWindow>> all() const;

  // Null when none is.
  std::shared_ptr<UIWindow> key() const { return key_.lock(); }
  // Also of one that is being destroyed.
  bool isKey(const UIWindow& window) const { return keyAddress_ == &window; }
  // Null for none.
  void setKey(const std::shared_ptr<UIWindow>& window);
  // Grows, over all lists, each time a window is made the key one; 0 before the first.
  std::uint64_t keyOrder() const { return keyOrder_; }

 private:
  std::vector<std::weak_ptr<UIWindow>> windows_;
  std::weak_ptr<UIWindow> key_;
  const UIWindow* keyAddress_ = nullptr;  // to compare with
  std::uint64_t keyOrder_ = 0;
};

}  // namespace platform
