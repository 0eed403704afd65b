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

// How the texts of the rows of lists, tables and trees are told, which are the user's own: nothing for each
// text unless a function is given, which gets it and says what is shown instead.
using QtItemText = std::optional<String> (*)(const QString& text);
void setItemText(QtItemText itemText);

// At a position of the widget that the pointer is in. Main thread only.
QtHit hitAt(QWidget& widget, QPoint position);
// In the middle of a view that is on the screen.
QtHit hitInTheMiddleOf(const std::shared_ptr<UIView>& view);

}  // namespace platform
