#include "platform/uikit/WindowList.h"

#include <algorithm>

namespace platform {

void WindowList::add(const std::shared_ptr<UIWindow>& window) {
  std::erase_if(windows_, [](const auto& each) { return each.expired(); });
  const auto isIt = [&](const auto& each) { return each.lock() == window; };
  if (std::none_of(windows_.begin(), windows_.end(), isIt)) windows_.push_back(window);
}

void WindowList::remove(const UIWindow& window) {
  std::erase_if(windows_, [&](const auto& each) { return each.lock().get() == &window; });
}

std::vector<std::shared_ptr<UIWindow>> WindowList::all() const {
  std::vector<std::shared_ptr<UIWindow>> windows;
  windows.reserve(windows_.size());
  for (const auto& each : windows_) {
    if (auto window = each.lock()) windows.push_back(std::move(window));
  }
  return windows;
}

void WindowList::setKey(const std::shared_ptr<UIWindow>& window) {
  static std::uint64_t last = 0;
  key_ = window;
  keyAddress_ = window.get();
  if (window) keyOrder_ = ++last;
}

}  // namespace platform
