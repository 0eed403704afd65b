#include "platform/qt/QtEvents.h"

#include <QActionEvent>
#include <QApplication>
#include <QDynamicPropertyChangeEvent>
#include <QFocusEvent>
#include <QGestureEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QShortcutEvent>
#include <QWidget>
#include <utility>

#include "platform/qt/QtActions.h"
#include "platform/qt/QtEditing.h"
#include "platform/qt/QtGestures.h"
#include "platform/qt/QtGuard.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtScreens.h"
#include "platform/qt/QtTouches.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtWidgetKinds.h"
#include "platform/uikit/UITextField.h"

namespace platform {

namespace {

// Asked whenever the field is painted: a field that hides what is written in it has been painted so before
// the user can have it shown.
void noteIfForPasswords(QWidget& part) {
  QWidget& widget = shownWidget(part);
  if (!isForPasswords(widget)) return;
  const auto field = std::dynamic_pointer_cast<UITextField>(QtProxies::shared().viewOf(widget));
  if (field) field->hasBeenSecureTextEntry();
}

// One that comes up while input is handled was asked for by what has got that.
void noteOpenerOf(QMenu& menu) {
  const bool isInput = QtTouches::shared().isInput();
  noteOpener(menu, isInput ? QtEditing::shared().inputTarget() : nullptr);
}

}  // namespace

void QtEvents::seeAll() {
  const QWidgetList widgets = QApplication::allWidgets();
  for (QWidget* const widget : widgets) {
    for (QAction* const action : widget->actions()) QtActions::shared().watch(*action);
    for (const QByteArray& name : widget->dynamicPropertyNames()) handlers_.propertyChanged(*widget, name);
    if (widget->testAttribute(Qt::WA_WState_Polished)) polished(*widget);
    if (!widget->isVisible()) continue;
    QtScreens::shared().shown(*widget);
  }
}

void QtEvents::attach() {
  QCoreApplication* const application = QCoreApplication::instance();
  application->installEventFilter(this);
  const auto willQuit = [this] { guardedFromQt(handlers_.willQuit); };
  QObject::connect(application, &QCoreApplication::aboutToQuit, this, willQuit);
  // The session ends, and may take the program with it. One without windows is in none.
  auto* const inSession = qobject_cast<QGuiApplication*>(application);
  if (!inSession) return;
  QObject::connect(inSession, &QGuiApplication::commitDataRequest, this, willQuit, Qt::DirectConnection);
}

// Filters that the app installs later come first, and may keep events to themselves.
void QtEvents::comeToFront() {
  QCoreApplication* const application = QCoreApplication::instance();
  application->removeEventFilter(this);
  application->installEventFilter(this);
}

bool QtEvents::eventFilter(QObject* watched, QEvent* event) {
  guardedFromQt([&] { see(*watched, *event); });
  return false;
}

void QtEvents::see(QObject& watched, QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
      return pressed(watched, static_cast<QMouseEvent&>(event));
    case QEvent::Shortcut:
      QtTouches::shared().noteInput();
      QtEditing::shared().inputComes(nullptr);
      return QtActions::shared().comes(watched, static_cast<QShortcutEvent&>(event));
    case QEvent::MouseButtonRelease:
      QtTouches::shared().release();
      break;
    case QEvent::KeyPress:
      if (!watched.isWidgetType()) handlers_.keyPressed(static_cast<QKeyEvent&>(event));
      [[fallthrough]];
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:  // by which the list of a combo box is left
    case QEvent::InputMethod:
    case QEvent::Wheel:
    case QEvent::Drop:
      QtTouches::shared().noteInput();
      break;
    case QEvent::ApplicationStateChange:
    case QEvent::WindowStateChange:
      return sayingState_.ask();
    case QEvent::DynamicPropertyChange:
      return propertyChanged(watched, static_cast<QDynamicPropertyChangeEvent&>(event).propertyName());
    case QEvent::Polish:
    case QEvent::ActionAdded:
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::WindowActivate:
    case QEvent::FocusOut:
    case QEvent::Gesture:
    case QEvent::Paint:
      break;
    default:
      return;
  }
  if (watched.isWidgetType()) seeWidget(static_cast<QWidget&>(watched), event);
}

void QtEvents::propertyChanged(QObject& object, const QByteArray& name) {
  const bool hasView = object.isWidgetType() || qobject_cast<const QAction*>(&object);
  if (hasView) handlers_.propertyChanged(object, name);
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
    case QEvent::Gesture:
      return QtGestures::shared().comes(widget, static_cast<QGestureEvent&>(event));
    case QEvent::Paint:
      if (qobject_cast<QLineEdit*>(&widget)) noteIfForPasswords(widget);
      return;
    default:
      return inputComes(widget, event);
  }
}

void QtEvents::inputComes(QWidget& widget, const QEvent& event) {
  QtEditing::shared().inputComes(&widget);
  QtActions::shared().comes(widget, event);
  if (event.type() != QEvent::KeyPress) return;
  const int key = static_cast<const QKeyEvent&>(event).key();
  if (key == Qt::Key_Return || key == Qt::Key_Enter) QtEditing::shared().returnPressed(widget);
}

void QtEvents::polished(QWidget& widget) {
  if (isOwn(widget)) return;
  QtActions::shared().watch(widget);
  QtEditing::shared().watch(widget);
  noteIfForPasswords(widget);
}

void QtEvents::shown(QWidget& widget) {
  if (auto* const menu = qobject_cast<QMenu*>(&widget)) noteOpenerOf(*menu);
  QtScreens::shared().shown(widget);
  if (!isScreenWindow(widget)) return;
  comingToFront_.ask();  // not now: the filters are being called
  sayingState_.ask();
}

void QtEvents::hidden(QWidget& widget) {
  QtEditing::shared().hidden(widget);
  QtScreens::shared().hidden(widget);
  if (isScreenWindow(widget)) sayingState_.ask();
}

// A press comes to its window, then to the widget under the pointer, and, as long as nobody wants it, to
// those around that. A widget may hand it to windows that are none of widgets meanwhile.
void QtEvents::pressed(QObject& watched, QMouseEvent& event) {
  if (!watched.isWidgetType()) {
    if (watched.inherits("QWidgetWindow")) isPressComing_ = true;
    return;
  }
  auto& widget = static_cast<QWidget&>(watched);
  if (!std::exchange(isPressComing_, false) || isOwn(widget)) return;
  const int tapCount = event.type() == QEvent::MouseButtonDblClick ? 2 : 1;
  QtTouches::shared().press(hitAt(widget, event.position().toPoint()), tapCount);
  inputComes(widget, event);
}

}  // namespace platform
