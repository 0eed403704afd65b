#include "platform/qt/QtTree.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsView>

#include "platform/qt/QtWidgetKinds.h"

namespace platform {

namespace {

constexpr const char* kOwn = "platformOwnWindow";

bool isViewport(const QWidget& widget) {
  const auto* area = qobject_cast<const QAbstractScrollArea*>(widget.parentWidget());
  return area && area->viewport() == &widget;
}

// The first of the views that show the scene in which the widget lies.
QWidget* viewAround(const QGraphicsProxyWidget& proxy) {
  const auto views = proxy.scene() ? proxy.scene()->views() : QList<QGraphicsView*>();
  return views.isEmpty() ? nullptr : views.first();
}

// One that opened itself: it has no parent, like the list of a completer, which serves another widget.
QWidget* openerOf(const QWidget& popup) {
  if (const auto* proxy = popup.graphicsProxyWidget()) return viewAround(*proxy);
  if (popup.parentWidget()) return popup.parentWidget();
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

QWidget* windowAround(QWidget& widget) {
  QWidget* each = &widget;
  for (int step = 0; each && step < 200; ++step) {
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
