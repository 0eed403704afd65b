#pragma once

#include <QModelIndex>
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

// What is told of a cell of a list, table or tree, whose texts are the user's own: nothing unless a function
// is given. The model's data is read by nobody else.
using QtItemText = std::optional<String> (*)(const QModelIndex& cell);
void setItemText(QtItemText itemText);

// At a position of the widget that the pointer is in. Main thread only.
QtHit hitAt(QWidget& widget, QPoint position);
// In the middle of a view that is on the screen.
QtHit hitInTheMiddleOf(const std::shared_ptr<UIView>& view);

}  // namespace platform
