#pragma once

#include <QAction>
#include <QGraphicsObject>
#include <QPointer>
#include <QWidget>

#include "platform/uikit/UIButton.h"
#include "platform/uikit/UITableViewCell.h"

namespace platform {

// Views for what is no widget: entries of menus, rows of lists, objects of a scene. Main thread only.

// An action as a button, inside the menu, menu bar or tool bar that it was touched in last. Lives as long as
// the action.
class QtActionView final : public UIButton {
 public:
  static std::shared_ptr<UIView> makeFor(QAction& action);

  QtActionView(QAction& action, const Class& cls) : action_(&action), class_(cls) {}
  const Class& isa() const noexcept override { return class_; }
  void setOwner(QWidget& owner) { owner_ = &owner; }

  CGRect frame() const override;
  UIView* superview() const override;
  std::shared_ptr<UILabel> titleLabel() const override;
  std::optional<String> accessibilityIdentifier() const override;
  void touchesBegan(const Touches&, UIEvent*) override {}
  void touchesMoved(const Touches&, UIEvent*) override {}
  void touchesEnded(const Touches&, UIEvent*) override {}
  void touchesCancelled(const Touches&, UIEvent*) override {}

 private:
  const QPointer<QAction> action_;
  const Class& class_;
  QPointer<QWidget> owner_;
};

// One cell of an item view or section of a header, made for a touch.
class QtCellView final : public UITableViewCell {
 public:
  // The frame is in the coordinates of the shown owner.
  static std::shared_ptr<UIView> makeFor(QWidget& owner, const QRect& frame, std::optional<String> text);

  QtCellView(QWidget& owner, const QRect& frame, const Class& cls);
  const Class& isa() const noexcept override { return class_; }
  UIView* superview() const override;

 private:
  const QPointer<QWidget> owner_;
  const Class& class_;
};

// An object of a graphics scene, made for a touch.
class QtSceneObjectView final : public UIView {
 public:
  static std::shared_ptr<UIView> makeFor(QWidget& owner, QGraphicsObject& object, const QRect& frame);

  QtSceneObjectView(QWidget& owner, QGraphicsObject& object, const QRect& frame, const Class& cls);
  const Class& isa() const noexcept override { return class_; }
  UIView* superview() const override;
  std::optional<String> accessibilityIdentifier() const override;

 private:
  const QPointer<QWidget> owner_;
  const QPointer<QGraphicsObject> object_;
  const Class& class_;
};

}  // namespace platform
