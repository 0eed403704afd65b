#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/uikit/UIViewController.h"

namespace platform {

// A screen: a window, or a page of one, as a controller. Its class is that of the widget; of a plain widget
// with a name, that name. The controller of a page has that of its window as parent. Main thread only.
class QtViewController final : public UIViewController {
 public:
  static std::shared_ptr<UIViewController> makeFor(QWidget& widget);
  // Under a name of the app's own.
  static std::shared_ptr<UIViewController> makeFor(QWidget& widget, const QString& name);

  // What it holds goes by its objectName, as uic names the variable, unless Qt has given that name. Once.
  static void nameVariables();

  QtViewController(QWidget& widget, const Class& cls) : widget_(&widget), class_(cls) {}

  const Class& isa() const noexcept override { return class_; }
  QWidget* widget() const { return widget_.data(); }

  std::optional<String> title() const override;
  UIViewController* parentViewController() const override;
  UIResponder* nextResponder() const override;
  std::optional<String> accessibilityLabel() const override;

 private:
  const QPointer<QWidget> widget_;
  const Class& class_;
};

}  // namespace platform
