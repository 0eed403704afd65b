#include "platform/qt/QtEvents.h"

#include <QActionEvent>
#include <QApplication>
#include <QDynamicPropertyChangeEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWidget>
#include <exception>
#include <string>
#include <utility>

#include "platform/foundation/SystemLog.h"
#include "platform/qt/QtActions.h"
#include "platform/qt/QtEditing.h"
#include "platform/qt/QtScreens.h"
#include "platform/qt/QtTouches.h"
#include "platform/qt/QtTree.h"

namespace platform {

void QtEvents::install() {
  QCoreApplication::instance()->installEventFilter(this);
  seeAll();
}

void QtEvents::seeAll() {
  const QWidgetList widgets = QApplication::allWidgets();
  for (QWidget* const widget : widgets) {
    for (QAction* const action : widget->actions()) QtActions::shared().watch(*action);
    for (const QByteArray& name : widget->dynamicPropertyNames()) handlers_.propertyChanged(*widget, name);
    if (widget->testAttribute(Qt::WA_WState_Polished)) polished(*widget);
    if (!widget->isVisible()) continue;
    if (isScreenWindow(*widget)) handlers_.windowShown(*widget);
    QtScreens::shared().shown(*widget);
  }
}

// Filters that the app installs later come first, and may keep events to themselves.
void QtEvents::comeToFront() {
  QCoreApplication* const application = QCoreApplication::instance();
  application->removeEventFilter(this);
  application->installEventFilter(this);
}

bool QtEvents::eventFilter(QObject* watched, QEvent* event) {
  try {
    see(*watched, *event);
  } catch (const std::exception& problem) {
    NSLog(std::string("An event could not be read: ") + problem.what());
  } catch (...) {
    NSLog("An event could not be read.");  // a model of the app's may throw whatever it likes
  }
  return false;
}

void QtEvents::see(QObject& watched, QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
      return pressed(watched, static_cast<QMouseEvent&>(event));
    case QEvent::MouseButtonRelease:
      return QtTouches::shared().release();
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::InputMethod:
    case QEvent::Shortcut:
    case QEvent::Wheel:
    case QEvent::Drop:
      QtTouches::shared().noteInput();
      break;
    case QEvent::ApplicationStateChange:
    case QEvent::WindowStateChange:
      return laterSayState();
    case QEvent::Polish:
    case QEvent::ActionAdded:
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::WindowActivate:
    case QEvent::FocusOut:
    case QEvent::DynamicPropertyChange:
      break;
    default:
      return;
  }
  if (watched.isWidgetType()) seeWidget(static_cast<QWidget&>(watched), event);
}

void QtEvents::seeWidget(QWidget& widget, QEvent& event) {
  switch (event.type()) {
    case QEvent::Polish:
      return polished(widget);
    case QEvent::ActionAdded:
      return QtActions::shared().watch(*static_cast<QActionEvent&>(event).action());
    case QEvent::Show:
      return shown(widget);
    case QEvent::Hide:
      return hidden(widget);
    case QEvent::WindowActivate:
      return QtScreens::shared().activated(widget);
    case QEvent::FocusOut:
      return QtEditing::shared().focusLeft(widget, static_cast<QFocusEvent&>(event).reason());
    case QEvent::DynamicPropertyChange:
      return handlers_.propertyChanged(widget,
                                       static_cast<QDynamicPropertyChangeEvent&>(event).propertyName());
    case QEvent::KeyPress: {
      const int key = static_cast<QKeyEvent&>(event).key();
      if (key == Qt::Key_Return || key == Qt::Key_Enter) QtEditing::shared().returnPressed(widget);
      return;
    }
    default:
      return;
  }
}

void QtEvents::polished(QWidget& widget) {
  QtActions::shared().watch(widget);
  QtEditing::shared().watch(widget);
}

void QtEvents::shown(QWidget& widget) {
  QtScreens::shared().shown(widget);
  if (!isScreenWindow(widget)) return;
  handlers_.windowShown(widget);
  // Not now: the filters are being called.
  QMetaObject::invokeMethod(
      this, [this] { comeToFront(); }, Qt::QueuedConnection);
  laterSayState();
}

void QtEvents::hidden(QWidget& widget) {
  QtEditing::shared().hidden(widget);
  QtScreens::shared().hidden(widget);
  if (isScreenWindow(widget)) laterSayState();
}

// A press comes to its window, then to the widget under the pointer, and, as long as nobody wants it, to
// those around that.
void QtEvents::pressed(QObject& watched, QMouseEvent& event) {
  if (!watched.isWidgetType()) {
    isPressComing_ = true;
    return;
  }
  if (!std::exchange(isPressComing_, false)) return;
  const int tapCount = event.type() == QEvent::MouseButtonDblClick ? 2 : 1;
  QtTouches::shared().press(hitAt(static_cast<QWidget&>(watched), event.position().toPoint()), tapCount);
}

void QtEvents::laterSayState() {
  if (std::exchange(isSayingState_, true)) return;
  QMetaObject::invokeMethod(
      this,
      [this] {
        isSayingState_ = false;
        handlers_.stateChanged();
      },
      Qt::QueuedConnection);
}

}  // namespace platform
