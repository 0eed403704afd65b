#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/uikit/UIWindow.h"

namespace platform {

// A top-level widget as a window. Its class is that of the native window ("QWidgetWindow"). Main thread only.
class QtWindow final : public UIWindow {
 public:
  static std::shared_ptr<UIWindow> makeFor(QWidget& widget);

  QtWindow(QWidget& widget, const Class& cls);

  const Class& isa() const noexcept override { return class_; }
  QWidget* widget() const { return widget_.data(); }

  CGRect frame() const override;
  UIView* superview() const override { return nullptr; }
  const Subviews& subviews() const override;
  bool isHidden() const override { return !widget_ || !widget_->isVisible(); }
  bool isKeyWindow() const override { return widget_ && widget_->isActiveWindow(); }
  // Qt decides.
  bool canBecomeKeyWindow() const override { return false; }
  std::shared_ptr<UIViewController> rootViewController() const override;
  // Of a dock or a tool bar that floats, the view that it was taken out of.
  UIResponder* nextResponder() const override;
  // Qt draws the window.
  bool isDrawnWhole() const override { return true; }
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  const QPointer<QWidget> widget_;
  const Class& class_;
  mutable Subviews subviews_;
};

}  // namespace platform
