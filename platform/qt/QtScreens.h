#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <memory>
#include <vector>

#include "platform/qt/QtLater.h"
#include "platform/uikit/UIViewController.h"

namespace platform {

// Tells when windows and pages appear: a window when it is shown, and when it is active again after another
// screen; a page when it is shown and takes at least half of its window. What is shown and hidden again
// before the event loop goes on is no screen. Tool windows and docks are none, unless the app says so. Main
// thread only.
class QtScreens {
 public:
  static QtScreens& shared();

  // The dynamic property by which an app decides: true, or the screen's name; false for none. The text lives
  // as long as the process; null for no such property.
  void setProperty(const char* name) { property_ = name; }
  std::shared_ptr<UIViewController> makeController(QWidget& widget) const;

  void shown(QWidget& widget);
  void hidden(QWidget& widget);
  void activated(QWidget& widget);

 private:
  using Widgets = std::vector<QPointer<QWidget>>;

  void later(QWidget& widget, Widgets& list);
  void look();
  bool isScreen(const QWidget& widget) const;
  void appear(QWidget& widget);
  void comeBackTo(QWidget& window);

  const char* property_ = nullptr;
  Widgets shown_;
  Widgets activated_;
  QPointer<QWidget> front_;  // what appeared last
  QtLater looking_{[this] { look(); }};
};

}  // namespace platform
