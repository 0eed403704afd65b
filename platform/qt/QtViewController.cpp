#include "platform/qt/QtViewController.h"

#include "platform/qt/QtClasses.h"
#include "platform/qt/QtPages.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtText.h"
#include "platform/qt/QtTree.h"
#include "platform/uikit/UIViewController+Variables.h"

namespace platform {

namespace {

Class& classOfScreen(const QMetaObject& metaObject) {
  return classOf(metaObject, UIViewController::classObject(), typeid(QtViewController));
}

std::optional<String> nameOfObject(UIViewController&, SEL, const NSObject& held) {
  const auto* const view = dynamic_cast<const UIView*>(&held);
  const auto name = view ? view->accessibilityIdentifier() : std::nullopt;
  return name && !name->view().starts_with("qt_") ? name : std::nullopt;
}

bool isPlain(const QWidget& widget) { return widget.metaObject() == &QWidget::staticMetaObject; }

}  // namespace

void QtViewController::nameVariables() {
  nameOfVariableMethod.set(classOfScreen(QWidget::staticMetaObject), nameOfObject);
}

std::shared_ptr<UIViewController> QtViewController::makeFor(QWidget& widget) {
  if (isPlain(widget) && !widget.objectName().isEmpty()) return makeFor(widget, widget.objectName());
  return std::make_shared<QtViewController>(widget, classOfScreen(*widget.metaObject()));
}

std::shared_ptr<UIViewController> QtViewController::makeFor(QWidget& widget, const QString& name) {
  Class& cls = classNamed(name, classOfScreen(*widget.metaObject()), typeid(QtViewController));
  return std::make_shared<QtViewController>(widget, cls);
}

std::optional<String> QtViewController::title() const {
  if (!widget_) return std::nullopt;
  if (!isScreenWindow(*widget_)) return titleOfPage(*widget_);
  return titleOf(widget_->windowTitle());
}

UIViewController* QtViewController::parentViewController() const {
  if (!widget_ || isScreenWindow(*widget_)) return nullptr;
  QWidget* const window = windowAround(*widget_);
  return window ? QtProxies::shared().controllerOf(*window).get() : nullptr;
}

UIResponder* QtViewController::nextResponder() const {
  const auto view = viewIfLoaded();
  return view ? view->superview() : nullptr;
}

std::optional<String> QtViewController::accessibilityLabel() const {
  return widget_ ? textOf(widget_->accessibleName()) : std::nullopt;
}

}  // namespace platform
