#include "platform/qt/QtCover.h"

#include <QGraphicsProxyWidget>
#include <QGraphicsView>
#include <QMenuBar>
#include <QPainter>

#include "platform/qt/QtDrawing.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtWidgetKinds.h"
#include "platform/uikit/CoveredViews.h"

namespace platform {

namespace {

// A rule may come with the view of a widget, so one is made for each.
ViewCover coverOf(QWidget& shown) {
  const ViewCover cover = CoveredViews::coverOf(*QtProxies::shared().viewOf(shown));
  // A leaf paints what lies inside of it itself, like the rows of a list.
  return cover == ViewCover::Inside && kindOf(shown).isLeaf() ? ViewCover::Whole : cover;
}

ViewCover coverOfChild(QWidget& child, ViewCover outer) {
  // A viewport is none of what lies inside, it is the area itself.
  const bool isPart = &shownWidget(child) != &child;
  if (isPart) return isForPasswords(child) ? ViewCover::Whole : outer;
  return outer == ViewCover::Inside ? ViewCover::Whole : coverOf(child);
}

// The painter stands at the widget throughout.
class Covering {
 public:
  explicit Covering(QImage& picture) : painter_(&picture) {}

  void cover(QWidget& widget, ViewCover cover) {
    if (cover == ViewCover::Whole) return painter_.fillRect(widget.rect(), colorOf(CoveredViews::color()));
    for (QObject* const object : widget.children()) {
      auto* const child = qobject_cast<QWidget*>(object);
      if (!child || child->isWindow() || child->isHidden()) continue;
      painter_.save();
      moveInto(*child);
      this->cover(*child, coverOfChild(*child, cover));
      painter_.restore();
    }
    if (auto* const view = qobject_cast<QGraphicsView*>(&widget)) coverInScene(*view, cover);
    if (auto* const bar = qobject_cast<QMenuBar*>(&widget)) coverEntries(*bar);
  }

 private:
  void moveInto(const QWidget& child) {
    painter_.translate(child.pos());
    painter_.setClipRect(child.rect(), Qt::IntersectClip);
  }

  // Those of an open menu are in a window of their own, which no picture shows.
  void coverEntries(const QMenuBar& bar) {
    for (QAction* const action : bar.actions()) {
      const auto entry = QtProxies::shared().viewOf(*action);
      if (CoveredViews::coverOf(*entry) == ViewCover::None) continue;
      painter_.fillRect(bar.actionGeometry(action), colorOf(CoveredViews::color()));
    }
  }

  // Widgets in a scene are nobody's children.
  void coverInScene(QGraphicsView& view, ViewCover outer) {
    painter_.save();
    moveInto(*view.viewport());
    for (QGraphicsItem* const item : view.items(view.viewport()->rect())) {
      auto* const proxy = qobject_cast<QGraphicsProxyWidget*>(item->toGraphicsObject());
      if (!proxy || !proxy->widget() || !proxy->isVisible()) continue;
      painter_.save();
      painter_.setTransform(proxy->deviceTransform(view.viewportTransform()), true);
      cover(*proxy->widget(), coverOfChild(*proxy->widget(), outer));
      painter_.restore();
    }
    painter_.restore();
  }

  QPainter painter_;
};

}  // namespace

void coverWidgets(QWidget& window, QImage& picture) {
  if (CoveredViews::areAny()) Covering(picture).cover(window, coverOf(window));
}

}  // namespace platform
