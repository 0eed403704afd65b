#pragma once

#include <QAction>
#include <QMenu>
#include <QWidget>
#include <vector>

#include "platform/graphics/CGGeometry.h"

namespace platform {

// Which of Qt's widgets are shown as views, and inside which. Popups lie in the widget that opened them; the
// viewport of a scroll area is that area; what a spin box or a combo box is made of is that box.
//
// All pointers may be null where it is said; main thread only.

// Keeps a window of the library's own, and what it opens, out of everything.
void markAsOwn(QWidget& window);
bool isOwn(const QWidget& widget);

// A window with a screen of its own: no popup, no tool tip, no splash screen, none of the library's.
bool isScreenWindow(const QWidget& widget);
// What the widget is shown as: itself or one around it.
QWidget& shownWidget(QWidget& widget);
// The shown widget around a shown one; null for a window.
QWidget* shownParent(const QWidget& widget);
// The shown widgets inside, back to front.
std::vector<QWidget*> shownChildren(const QWidget& widget);
// What shows the action: a button, a bar or a menu, before a widget that only has it; null when none has it.
QWidget* ownerOf(const QAction& action);
// The menu comes up, opened by the widget, which may be null: it lies in that, unless a button, a bar or a
// menu has its entry, or its parent is elsewhere.
void noteOpener(QMenu& menu, QWidget* opener);
// The window that a shown widget is in; null for a popup that nobody opened.
QWidget* windowAround(QWidget& widget);
// In the coordinates of the shown parent; of a window in those of the screen.
CGRect frameOf(const QWidget& widget);

}  // namespace platform
