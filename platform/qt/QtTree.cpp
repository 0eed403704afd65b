#include "platform/qt/QtTree.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QMenuBar>
#include <QPointer>
#include <QToolBar>
#include <utility>

#include "platform/qt/QtWidgetKinds.h"

namespace platform {

namespace {

constexpr const char* kOwn = "platformOwnWindow";
constexpr int kLongestWay = 200;  // of widgets, where an app may have closed them into a circle

using OpenedMenu = std::pair<QPointer<QMenu>, QPointer<QWidget>>;

std::vector<OpenedMenu>& openedMenus() {
  static auto& menus = *new std::vector<OpenedMenu>;
  return menus;
}

bool isViewport(const QWidget& widget) {
  const auto* area = qobject_cast<const QAbstractScrollArea*>(widget.parentWidget());
  return area && area->viewport() == &widget;
}

// The first of the views that show the scene in which the widget lies.
QWidget* viewAround(const QGraphicsProxyWidget& proxy) {
  const auto views = proxy.scene() ? proxy.scene()->views() : QList<QGraphicsView*>();
  return views.isEmpty() ? nullptr : views.first();
}

// How well the widget shows the actions that it has.
int rankOf(const QWidget& widget) {
  const bool isButton = qobject_cast<const QAbstractButton*>(&widget);
  const bool showsThem = isButton || qobject_cast<const QMenu*>(&widget) ||
                         qobject_cast<const QMenuBar*>(&widget) || qobject_cast<const QToolBar*>(&widget);
  if (!showsThem || !widget.isVisible()) return showsThem ? 2 : widget.isVisible();
  return isButton ? 4 : 3;
}

// Menus may hold one another's entries.
bool isOpenedThrough(const QMenu& menu, const QWidget* widget) {
  for (int step = 0; widget && widget != &menu && step < kLongestWay; ++step) {
    const auto* const around = qobject_cast<const QMenu*>(widget);
    widget = around ? ownerOf(*around->menuAction()) : nullptr;
  }
  return widget == &menu;
}

// Of a menu its parent says little: most often it is the window.
QWidget* openerOfMenu(const QMenu& menu) {
  QWidget* const owner = ownerOf(*menu.menuAction());
  if (owner && !isOpenedThrough(menu, owner)) return owner;
  QWidget* const parent = menu.parentWidget();
  for (const auto& [opened, opener] : openedMenus()) {
    if (opened == &menu && opener && (!parent || parent->isAncestorOf(opener))) return opener;
  }
  return parent;
}

// One that opened itself: it has no parent, like the list of a completer, which serves another widget.
QWidget* openerOf(const QWidget& popup) {
  if (const auto* proxy = popup.graphicsProxyWidget()) return viewAround(*proxy);
  const auto* const menu = qobject_cast<const QMenu*>(&popup);
  if (QWidget* const opener = menu ? openerOfMenu(*menu) : popup.parentWidget()) return opener;
  if (popup.focusProxy() && popup.focusProxy() != &popup) return popup.focusProxy();
  QWidget* const active = QApplication::activeWindow();
  return active == &popup ? nullptr : active;
}

// What the widget lies in, shown or not.
QWidget* widgetAround(const QWidget& widget) {
  if (isScreenWindow(widget)) return nullptr;
  return widget.isWindow() ? openerOf(widget) : widget.parentWidget();
}

}  // namespace

void markAsOwn(QWidget& window) { window.setProperty(kOwn, true); }

bool isOwn(const QWidget& widget) {
  const QWidget* each = &widget;
  while (each && !each->property(kOwn).isValid()) each = each->parentWidget();
  return each;
}

bool isScreenWindow(const QWidget& widget) {
  if (!widget.isWindow() || widget.graphicsProxyWidget()) return false;
  const Qt::WindowType type = widget.windowType();
  return type != Qt::Popup && type != Qt::ToolTip && type != Qt::SplashScreen && !isOwn(widget);
}

QWidget& shownWidget(QWidget& widget) {
  QWidget* shown = isViewport(widget) ? widget.parentWidget() : &widget;
  for (QWidget* each = shown; each && !each->isWindow(); each = each->parentWidget()) {
    if (kindOf(*each).hidesInner) shown = each;
  }
  return *shown;
}

QWidget* shownParent(const QWidget& widget) {
  QWidget* const around = widgetAround(widget);
  return around ? &shownWidget(*around) : nullptr;
}

std::vector<QWidget*> shownChildren(const QWidget& widget) {
  std::vector<QWidget*> children;
  if (kindOf(widget).isLeaf()) return children;
  for (QObject* child : widget.children()) {
    auto* const inner = qobject_cast<QWidget*>(child);
    if (!inner || inner->isWindow() || inner->isHidden()) continue;
    if (!isViewport(*inner)) {
      children.push_back(inner);
      continue;
    }
    const auto contents = shownChildren(*inner);
    children.insert(children.end(), contents.begin(), contents.end());
  }
  return children;
}

QWidget* ownerOf(const QAction& action) {
  QWidget* owner = nullptr;
  for (QObject* const object : action.associatedObjects()) {
    auto* const widget = qobject_cast<QWidget*>(object);
    if (widget && (!owner || rankOf(*widget) > rankOf(*owner))) owner = widget;
  }
  return owner;
}

void noteOpener(QMenu& menu, QWidget* opener) {
  std::erase_if(openedMenus(), [&menu](const OpenedMenu& each) {
    return !each.first || each.first == &menu || !each.first->isVisible();
  });
  const QWidget* each = opener;
  for (int step = 0; each && each != &menu && step < kLongestWay; ++step) each = widgetAround(*each);
  if (opener && !each) openedMenus().emplace_back(&menu, opener);
}

QWidget* windowAround(QWidget& widget) {
  QWidget* each = &widget;
  for (int step = 0; each && step < kLongestWay; ++step) {
    if (isScreenWindow(*each)) return each;
    each = widgetAround(*each);
  }
  return nullptr;
}

CGRect frameOf(const QWidget& widget) {
  const QRect place = widget.geometry();
  const auto size = CGSize{double(place.width()), double(place.height())};
  if (isScreenWindow(widget)) return {{double(place.x()), double(place.y())}, size};
  const QWidget* const around = shownParent(widget);
  if (!around) return {{}, size};
  const QPoint corner = widget.isWindow() ? around->mapFromGlobal(widget.mapToGlobal(QPoint()))
                                          : widget.mapTo(around, QPoint());
  return {{double(corner.x()), double(corner.y())}, size};
}

}  // namespace platform
