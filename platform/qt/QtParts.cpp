#include "platform/qt/QtParts.h"

#include <QMenu>
#include <QMenuBar>

#include "platform/qt/QtClasses.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtText.h"
#include "platform/qt/QtTree.h"

namespace platform {

namespace {

CGRect rectOf(const QRect& rect) {
  return {{double(rect.x()), double(rect.y())}, {double(rect.width()), double(rect.height())}};
}

UIView* viewOf(const QPointer<QWidget>& owner) {
  return owner ? QtProxies::shared().viewOf(shownWidget(*owner)).get() : nullptr;
}

QRect placeOf(QAction* action, const QWidget* owner) {
  if (const auto* menu = qobject_cast<const QMenu*>(owner)) return menu->actionGeometry(action);
  if (const auto* bar = qobject_cast<const QMenuBar*>(owner)) return bar->actionGeometry(action);
  return owner ? owner->rect() : QRect();
}

}  // namespace

std::shared_ptr<UIView> QtActionView::makeFor(QAction& action) {
  Class& cls = classOf(*action.metaObject(), UIButton::classObject(), typeid(QtActionView));
  return std::make_shared<QtActionView>(action, cls);
}

CGRect QtActionView::frame() const { return rectOf(placeOf(action_, owner_)); }

UIView* QtActionView::superview() const { return viewOf(owner_); }

std::shared_ptr<UILabel> QtActionView::titleLabel() const {
  const auto label = UIButton::titleLabel();
  label->setText(action_ ? textWithoutMnemonic(action_->text()) : std::nullopt);
  return label;
}

std::optional<String> QtActionView::accessibilityIdentifier() const {
  return action_ ? textOf(action_->objectName()) : std::nullopt;
}

std::shared_ptr<UIView> QtCellView::makeFor(QWidget& owner, const QRect& frame, std::optional<String> text) {
  static Class& cls = Class::derive("QModelIndex", UITableViewCell::classObject(), typeid(QtCellView));
  const auto cell = std::make_shared<QtCellView>(owner, frame, cls);
  cell->textLabel()->setText(std::move(text));
  return cell;
}

QtCellView::QtCellView(QWidget& owner, const QRect& frame, const Class& cls)
    : UITableViewCell(rectOf(frame)), owner_(&owner), class_(cls) {}

UIView* QtCellView::superview() const { return viewOf(owner_); }

std::shared_ptr<UIView> QtSceneObjectView::makeFor(QWidget& owner, QGraphicsObject& object,
                                                   const QRect& frame) {
  Class& cls = classOf(*object.metaObject(), UIView::classObject(), typeid(QtSceneObjectView));
  return std::make_shared<QtSceneObjectView>(owner, object, frame, cls);
}

QtSceneObjectView::QtSceneObjectView(QWidget& owner, QGraphicsObject& object, const QRect& frame,
                                     const Class& cls)
    : UIView(rectOf(frame)), owner_(&owner), object_(&object), class_(cls) {}

UIView* QtSceneObjectView::superview() const { return viewOf(owner_); }

std::optional<String> QtSceneObjectView::accessibilityIdentifier() const {
  return object_ ? textOf(object_->objectName()) : std::nullopt;
}

}  // namespace platform
