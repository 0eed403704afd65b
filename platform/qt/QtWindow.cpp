#include "platform/qt/QtWindow.h"

#include <QDockWidget>
#include <QToolBar>
#include <QWindow>

#include "platform/graphics/BitmapContext.h"
#include "platform/qt/QtClasses.h"
#include "platform/qt/QtCover.h"
#include "platform/qt/QtDrawing.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"
#include "platform/uikit/UIApplication.h"

namespace platform {

std::shared_ptr<UIWindow> QtWindow::makeFor(QWidget& widget) {
  const QWindow* const native = widget.windowHandle();
  const QMetaObject& metaObject = native ? *native->metaObject() : QWindow::staticMetaObject;
  return std::make_shared<QtWindow>(widget, classOf(metaObject, UIWindow::classObject(), typeid(QtWindow)));
}

QtWindow::QtWindow(QWidget& widget, const Class& cls) : UIWindow(CGRect{}), widget_(&widget), class_(cls) {}

CGRect QtWindow::frame() const { return widget_ ? frameOf(*widget_) : CGRect{}; }

const UIView::Subviews& QtWindow::subviews() const {
  subviews_.clear();
  if (widget_) subviews_.push_back(QtProxies::shared().viewOf(*widget_));
  return subviews_;
}

std::shared_ptr<UIViewController> QtWindow::rootViewController() const {
  return widget_ ? QtProxies::shared().controllerOf(*widget_) : nullptr;
}

// What the user has taken out of a window belongs to it all the same.
UIResponder* QtWindow::nextResponder() const {
  const bool floats = qobject_cast<const QDockWidget*>(widget()) || qobject_cast<const QToolBar*>(widget());
  QWidget* const around = floats ? widget_->parentWidget() : nullptr;
  if (around) return QtProxies::shared().viewOf(shownWidget(*around)).get();
  return UIApplication::sharedApplication().get();
}

void QtWindow::drawRect(CGRect rect, BitmapContext& context) {
  if (!widget_ || widget_->size().isEmpty()) return;
  QImage picture(widget_->size(), QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  widget_->render(&picture);
  coverWidgets(*widget_, picture);
  if (const auto image = imageOf(picture, 1)) context.drawImage(*image, rect);
}

}  // namespace platform
