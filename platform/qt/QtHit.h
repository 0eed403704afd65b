#pragma once

#include <QWidget>
#include <memory>

#include "platform/uikit/UIWindow.h"

namespace platform {

// What lies under the pointer.
struct QtHit {
  std::shared_ptr<UIWindow> window;  // null for a popup that belongs to no window
  std::shared_ptr<UIView> view;
  CGPoint place;  // in the window
};

// At a position of the widget that the pointer is in. Main thread only.
QtHit hitAt(QWidget& widget, QPoint position);
// In the middle of a view that is on the screen.
QtHit hitInTheMiddleOf(const std::shared_ptr<UIView>& view);

}  // namespace platform
