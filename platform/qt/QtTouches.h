#pragma once

#include <QObject>
#include <memory>

#include "platform/qt/QtHit.h"
#include "platform/runtime/SEL.h"
#include "platform/uikit/UIEvent.h"

namespace platform {

// The pointer as one finger, and the actions that it causes. What the user does without a pointer is shown as
// a touch in the middle of what it acts on. Main thread only.
class QtTouches {
 public:
  static QtTouches& shared();

  // A button of the pointer goes down; one that is down already is lifted first.
  void press(const QtHit& hit, int tapCount);
  void release();

  // The user did something just now: until the event loop gets to its next event, actions are the user's.
  void noteInput();
  bool isInput() const { return isInput_; }

  // What the latest touch is on, while its events are being handled; null otherwise.
  std::shared_ptr<UIView> touchedView() const;
  // An action of `sender`: it belongs to the latest touch when that is on the sender or inside of it, else
  // gets one of its own. What the app does without the user is left out.
  void sendAction(const std::string& action, const std::shared_ptr<UIView>& sender);

 private:
  void send(UITouchPhase phase);
  void clearInput();

  QObject receiver_;
  std::shared_ptr<UIEvent> event_;  // of the latest touch, null when its events have been handled
  std::shared_ptr<UITouch> touch_;
  bool isDown_ = false;
  bool isInput_ = false;
  int inputLevel_ = 0;  // of event loops, in which the input came
  bool isClearing_ = false;
};

}  // namespace platform
