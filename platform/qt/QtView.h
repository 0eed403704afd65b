#pragma once

#include <QPointer>
#include <QWidget>
#include <optional>

#include "platform/uikit/UIView.h"

namespace platform {

// What a view of any kind answers for its widget, which may be gone.
namespace qtview {
CGRect frame(const QWidget* widget);
UIView* superview(const QWidget* widget);
UIView::Subviews subviews(const QWidget* widget);
UIWindow* window(QWidget* widget);
UIResponder* nextResponder(QWidget* widget, UIViewController* controller);
std::optional<String> accessibilityLabel(const QWidget* widget);
std::optional<String> accessibilityIdentifier(const QWidget* widget);
}  // namespace qtview

// A widget as a view of the kind `Base`. It reads the widget whenever it is asked, and handles no touches:
// the widget does that. Lives as long as the widget, and longer where a touch keeps it. Main thread only.
template <class Base>
class QtView : public Base {
 public:
  QtView(QWidget& widget, const Class& cls) : widget_(&widget), class_(cls) {}

  const Class& isa() const noexcept override { return class_; }
  // Null once it is gone.
  QWidget* widget() const { return widget_.data(); }

  CGRect frame() const override { return qtview::frame(widget_); }
  UIView* superview() const override { return qtview::superview(widget_); }
  const UIView::Subviews& subviews() const override {
    subviews_ = qtview::subviews(widget_);
    return subviews_;
  }
  UIWindow* window() const override { return qtview::window(widget_); }
  UIResponder* nextResponder() const override {
    return qtview::nextResponder(widget_, this->viewController());
  }
  bool isHidden() const override { return !widget_ || !widget_->isVisible(); }
  bool isUserInteractionEnabled() const override { return widget_ && widget_->isEnabled(); }
  std::optional<String> accessibilityLabel() const override {
    auto label = UIResponder::accessibilityLabel();
    return label ? label : qtview::accessibilityLabel(widget_);
  }
  std::optional<String> accessibilityIdentifier() const override {
    auto identifier = UIView::accessibilityIdentifier();
    return identifier ? identifier : qtview::accessibilityIdentifier(widget_);
  }

  bool canBecomeFirstResponder() const override { return false; }
  void touchesBegan(const UIResponder::Touches&, UIEvent*) override {}
  void touchesMoved(const UIResponder::Touches&, UIEvent*) override {}
  void touchesEnded(const UIResponder::Touches&, UIEvent*) override {}
  void touchesCancelled(const UIResponder::Touches&, UIEvent*) override {}

 private:
  const QPointer<QWidget> widget_;
  const Class& class_;
  mutable UIView::Subviews subviews_;  // as of the latest call
};

// The view for a widget, of the kind that it is.
std::shared_ptr<UIView> makeViewOf(QWidget& widget);

}  // namespace platform
