#pragma once

#include <QObject>
#include <functional>

class QWidget;
class QMouseEvent;

namespace platform {

// The one filter of all events of the application: sees presses, shown widgets, changes of focus, actions and
// properties, in nested loops as well, and takes none of them away. Main thread only.
class QtEvents final : public QObject {
 public:
  struct Handlers {
    // A dynamic property of a widget was set, changed or taken away.
    std::function<void(QWidget& widget, const QByteArray& name)> propertyChanged;
    std::function<void(QWidget& window)> windowShown;
    // A window was shown, hidden or minimised, or the application became active or ceased to be.
    std::function<void()> stateChanged;
  };

  explicit QtEvents(Handlers handlers) : handlers_(std::move(handlers)) {}

  // Puts the filter in front of all others, and looks at what has been made without it.
  void install();

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void see(QObject& watched, QEvent& event);
  void seeWidget(QWidget& widget, QEvent& event);
  void seeAll();
  void polished(QWidget& widget);
  void shown(QWidget& widget);
  void hidden(QWidget& widget);
  void pressed(QObject& watched, QMouseEvent& event);
  void comeToFront();
  void laterSayState();

  const Handlers handlers_;
  bool isPressComing_ = false;  // a window has got it, and will give it to a widget
  bool isSayingState_ = false;  // as soon as the event loop goes on
};

}  // namespace platform
