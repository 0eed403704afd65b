#pragma once

#include "platform/qt/QtLater.h"

class QGesture;
class QGestureEvent;
class QWidget;

namespace platform {

// Shows Qt's gestures that have ended as recognisers of the platform, whose class is that of the gesture.
// Main thread only.
class QtGestures {
 public:
  static QtGestures& shared();

  // A widget that takes no notice of it hands it on to the one around: the first counts.
  void comes(QWidget& widget, QGestureEvent& event);

 private:
  const QGesture* told_ = nullptr;  // until the event loop goes on
  QtLater forgetting_{[this] { told_ = nullptr; }};
};

}  // namespace platform
