#pragma once

#include <QModelIndex>
#include <QWidget>
#include <optional>

#include "platform/foundation/String.h"

namespace platform {

// What is told of the rows of lists, tables and trees, whose texts are the user's own: nothing unless said
// here. Main thread only.
struct QtItemTexts {
  bool areShown = false;
  std::optional<String> substitute;  // told in their place while they are not shown
};
void setItemTexts(QtItemTexts texts);

// Of a cell. While texts are not shown, the model is not asked for its data.
std::optional<String> toldOfCell(const QModelIndex& cell);
// Of a text of the widget, which is the row's where the widget lies in one.
std::optional<String> toldOfWidget(const QWidget& widget, std::optional<String> text);

}  // namespace platform
