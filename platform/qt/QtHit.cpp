#include "platform/qt/QtHit.h"

#include <QGraphicsItem>
#include <QGraphicsProxyWidget>
#include <QGraphicsView>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>

#include "platform/qt/QtItems.h"
#include "platform/qt/QtParts.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtText.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtWidgetKinds.h"

namespace platform {

namespace {

std::shared_ptr<UIView> viewAt(QWidget& widget, QPoint position);

QAction* actionAt(const QWidget& widget, QPoint position) {
  if (const auto* menu = qobject_cast<const QMenu*>(&widget)) return menu->actionAt(position);
  if (const auto* bar = qobject_cast<const QMenuBar*>(&widget)) return bar->actionAt(position);
  return nullptr;
}

std::shared_ptr<UIView> entryAt(QWidget& widget, QPoint position) {
  QAction* const action = actionAt(widget, position);
  if (!action || action->isSeparator()) return nullptr;
  const auto view = QtProxies::shared().viewOf(*action);
  static_cast<QtActionView&>(*view).setOwner(widget);
  return view;
}

std::shared_ptr<UIView> sectionAt(QHeaderView& header, QPoint position) {
  const int section = header.logicalIndexAt(position);
  if (section < 0 || !header.model()) return nullptr;
  const bool isHorizontal = header.orientation() == Qt::Horizontal;
  const int start = header.sectionViewportPosition(section), length = header.sectionSize(section);
  const QRect frame =
      isHorizontal ? QRect(start, 0, length, header.height()) : QRect(0, start, header.width(), length);
  const QString text = header.model()->headerData(section, header.orientation()).toString();
  return QtCellView::makeFor(header, frame, textOf(text));
}

std::shared_ptr<UIView> cellAt(QAbstractItemView& items, QPoint position) {
  const QModelIndex index = items.indexAt(position);
  if (!index.isValid()) return nullptr;
  const QRect frame = items.visualRect(index).translated(items.viewport()->pos());
  return QtCellView::makeFor(items, frame, toldOfCell(index));
}

std::shared_ptr<UIView> viewInside(QWidget& outer, QPoint position) {
  QWidget* const child = outer.childAt(position);
  QWidget& inner = child ? *child : outer;
  return viewAt(inner, inner.mapFrom(&outer, position));
}

std::shared_ptr<UIView> objectAt(QGraphicsView& scene, QPoint position) {
  QGraphicsItem* item = scene.itemAt(position);
  while (item && !item->isVisible()) item = item->parentItem();
  while (item && !item->toGraphicsObject()) item = item->parentItem();
  if (!item) return nullptr;
  const auto* const proxy = qobject_cast<const QGraphicsProxyWidget*>(item->toGraphicsObject());
  if (proxy && proxy->widget()) {
    return viewInside(*proxy->widget(), item->mapFromScene(scene.mapToScene(position)).toPoint());
  }
  const QRect frame = scene.mapFromScene(item->sceneBoundingRect()).boundingRect();
  return QtSceneObjectView::makeFor(scene, *item->toGraphicsObject(), frame);
}

// Null when the widget itself was hit. The position is one of what shows the contents.
std::shared_ptr<UIView> partAt(QWidget& shown, QPoint position) {
  if (auto* header = qobject_cast<QHeaderView*>(&shown)) return sectionAt(*header, position);
  switch (kindOf(shown).presentation) {
    case QtPresentation::Actions:
      return entryAt(shown, position);
    case QtPresentation::Items:
      return cellAt(static_cast<QAbstractItemView&>(shown), position);
    case QtPresentation::Scene:
      return objectAt(static_cast<QGraphicsView&>(shown), position);
    default:
      return nullptr;
  }
}

std::shared_ptr<UIView> viewAt(QWidget& widget, QPoint position) {
  QWidget& shown = shownWidget(widget);
  const auto part = partAt(shown, position);
  return part ? part : QtProxies::shared().viewOf(shown);
}

}  // namespace

QtHit hitAt(QWidget& widget, QPoint position) {
  QWidget* const around = windowAround(shownWidget(widget));
  QtHit hit;
  hit.view = viewAt(widget, position);
  if (!around) return hit;
  hit.window = QtProxies::shared().windowOf(*around);
  const QPoint place = around->mapFromGlobal(widget.mapToGlobal(position));
  hit.place = {double(place.x()), double(place.y())};
  return hit;
}

QtHit hitInTheMiddleOf(const std::shared_ptr<UIView>& view) {
  UIWindow* const window = view->window();
  if (!window) return {nullptr, view, {}};
  const CGSize size = view->bounds().size;
  const CGPoint middle = view->convertPointToView({size.width / 2, size.height / 2}, window);
  return {std::static_pointer_cast<UIWindow>(window->shared_from_this()), view, middle};
}

}  // namespace platform
