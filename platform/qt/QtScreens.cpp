#include "platform/qt/QtScreens.h"

#include <QApplication>
#include <QDockWidget>
#include <QVariant>
#include <algorithm>
#include <utility>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/qt/QtPages.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtViewController.h"

namespace platform {

namespace {

// The last screen of the window that is still there: kept with its proxy.
constexpr char kScreenOfWindow = 0;

class QtLastScreen final : public NSObject {
 public:
  explicit QtLastScreen(QWidget& screen) : widget(&screen) {}
  const QPointer<QWidget> widget;
};

bool isSideWindow(const QWidget& window) {
  return window.windowType() == Qt::Tool || qobject_cast<const QDockWidget*>(&window);
}

bool isInside(const QWidget* inner, const QWidget& outer) {
  while (inner && inner != &outer) inner = inner->parentWidget();
  return inner;
}

// A modal window keeps the user out of it, even where the desktop makes it the active one.
bool isBlocked(const QWidget& window) {
  const QWidget* const modal = QApplication::activeModalWidget();
  if (!modal || isInside(&window, *modal)) return false;
  return modal->windowModality() != Qt::WindowModal || isInside(modal, window);
}

}  // namespace

QtScreens& QtScreens::shared() {
  static QtScreens& screens = *new QtScreens;
  return screens;
}

std::shared_ptr<UIViewController> QtScreens::makeController(QWidget& widget) const {
  const QVariant said = property_ ? widget.property(property_) : QVariant();
  const bool isName = said.userType() == QMetaType::QString && !said.toString().isEmpty();
  return isName ? QtViewController::makeFor(widget, said.toString()) : QtViewController::makeFor(widget);
}

bool QtScreens::isScreen(const QWidget& widget) const {
  const QVariant said = property_ ? widget.property(property_) : QVariant();
  if (said.isValid()) return said.userType() != QMetaType::Bool || said.toBool();
  if (isScreenWindow(widget)) return !isSideWindow(widget);
  return isPage(widget) && fillsItsWindow(widget);
}

void QtScreens::shown(QWidget& widget) {
  const bool mayBeOne =
      isScreenWindow(widget) || isPage(widget) || (property_ && widget.property(property_).isValid());
  if (mayBeOne) later(widget, shown_);
}

void QtScreens::activated(QWidget& widget) {
  if (isScreenWindow(widget)) later(widget, activated_);
}

// Without a window manager nobody may say which window is active next; and one that is active already may
// have been blocked until now.
void QtScreens::hidden(QWidget& widget) {
  if (!isScreenWindow(widget)) return;
  QWidget* next = QApplication::activeWindow();
  const bool wasInFront = front_ && front_->window() == &widget;
  if (wasInFront && (!next || next == &widget) && widget.parentWidget())
    next = widget.parentWidget()->window();
  if (next && next != &widget && next->isVisible()) activated(*next);
}

void QtScreens::later(QWidget& widget, Widgets& list) {
  if (std::ranges::find(list, &widget, &QPointer<QWidget>::data) == list.end()) list.emplace_back(&widget);
  looking_.ask();
}

// Windows come before the pages inside of them.
void QtScreens::look() {
  auto shown = std::exchange(shown_, {});
  std::stable_partition(shown.begin(), shown.end(),
                        [](const auto& widget) { return widget && widget->isWindow(); });
  for (const auto& widget : shown) {
    if (widget && widget->isVisible() && isScreen(*widget)) appear(*widget);
  }
  for (const auto& window : std::exchange(activated_, {})) {
    if (window && window->isVisible() && !isBlocked(*window)) comeBackTo(*window);
  }
}

void QtScreens::comeBackTo(QWidget& window) {
  const auto kept = associatedObject(*QtProxies::shared().windowOf(window), &kScreenOfWindow);
  QWidget* const last = kept ? static_cast<const QtLastScreen&>(*kept).widget.data() : nullptr;
  if (last && last->isVisible()) {
    appear(*last);
  } else if (isScreen(window)) {
    appear(window);
  }
}

void QtScreens::appear(QWidget& widget) {
  QWidget* const around = windowAround(widget);
  if (!around || front_ == &widget) return;
  front_ = &widget;
  const auto window = QtProxies::shared().windowOf(*around);
  const bool isNew = !associatedObject(*window, &kScreenOfWindow);
  setAssociatedObject(*window, &kScreenOfWindow, std::make_shared<QtLastScreen>(widget));
  if (isNew) NSNotificationCenter::defaultCenter().post(UIWindowDidBecomeVisibleNotification, window);
  QtProxies::shared().controllerOf(widget)->viewDidAppear(false);
}

}  // namespace platform
