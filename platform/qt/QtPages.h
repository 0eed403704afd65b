#pragma once

#include <QWidget>
#include <optional>

#include "platform/foundation/String.h"

namespace platform {

// Whether the widget is one page of several that take turns: of a tab, stacked, tool box, wizard or MDI
// widget.
bool isPage(const QWidget& widget);
// What its tab says, or its own title; none without either.
std::optional<String> titleOfPage(const QWidget& page);
// Whether the page takes at least half of its window.
bool fillsItsWindow(const QWidget& page);

}  // namespace platform
