#include <algorithm>

#include "platform/uikit/UIWindow.h"
#include "platform/uikit/WindowList.h"
#include "platform/uikit/WindowOrder.h"

namespace platform {

void UIWindow::makeKeyWindow() {
  joinIfAlone();
  WindowList* const windows = list();
  if (!windows) return;
  const auto previous = windows->key();
  windows->setKey(std::static_pointer_cast<UIWindow>(shared_from_this()));
  if (previous.get() == this) return;
  previousKeyWindow_ = previous;
  if (previous) previous->post(UIWindowDidResignKeyNotification);
  post(UIWindowDidBecomeKeyNotification);
}

std::shared_ptr<UIWindow> UIWindow::nextKeyWindow() const {
  const auto windows = visibleWindowsFrontToBack(list()->all());
  const auto mayBeKey = [this](const auto& window) {
    return window.get() != this && window->canBecomeKeyWindow();
  };
  const auto previous = previousKeyWindow_.lock();
  if (previous && std::ranges::find(windows, previous) != windows.end() && mayBeKey(previous)) {
    return previous;
  }
  const auto next = std::ranges::find_if(windows, mayBeKey);
  return next == windows.end() ? nullptr : *next;
}

void UIWindow::resignKeyWindow() {
  WindowList* const windows = list();
  if (!windows || !windows->isKey(*this)) return;
  const auto next = nextKeyWindow();
  windows->setKey(next);
  post(UIWindowDidResignKeyNotification);
  if (next) next->post(UIWindowDidBecomeKeyNotification);
}

}  // namespace platform
