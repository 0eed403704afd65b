#pragma once

#include <QObject>
#include <functional>

#include "platform/qt/QtLater.h"

class QWidget;
class QKeyEvent;
class QMouseEvent;

namespace platform {

// The one filter of all events of the application: sees presses, shown widgets, changes of focus, actions and
// properties, in nested loops as well, and takes none of them away. Main thread only.
class QtEvents final : public QObject {
 public:
  struct Handlers {
    // A dynamic property of a widget or an action was set, changed or taken away.
    std::function<void(QObject& object, const QByteArray& name)> propertyChanged;
    // A window was shown, hidden or minimised, or the application became active or ceased to be.
    std::function<void()> stateChanged;
    // A key goes down, in any window.
    std::function<void(QKeyEvent& event)> keyPressed;
    // The application is about to quit, or the user's session ends.
    std::function<void()> willQuit;
  };

  explicit QtEvents(Handlers handlers) : handlers_(std::move(handlers)) {}

  // To the application object, each time that there is a new one.
  void attach();
  // Looks at what was made before.
  void seeAll();

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void see(QObject& watched, QEvent& event);
  void propertyChanged(QObject& object, const QByteArray& name);
  void seeWidget(QWidget& widget, QEvent& event);
  void inputComes(QWidget& widget, const QEvent& event);
  void polished(QWidget& widget);
  void shown(QWidget& widget);
  void hidden(QWidget& widget);
  void pressed(QObject& watched, QMouseEvent& event);
  void comeToFront();

  const Handlers handlers_;
  bool isPressComing_ = false;  // a window has got it, and will give it to a widget
  QtLater comingToFront_{[this] { comeToFront(); }};
  QtLater sayingState_{[this] { handlers_.stateChanged(); }};
};

}  // namespace platform
