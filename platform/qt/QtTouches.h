#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <optional>

#include "platform/qt/QtHit.h"
#include "platform/qt/QtLater.h"
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
  // What the user did is about to be said by `sender`. Should the app open a loop of its own before, or
  // delete the sender, it is taken as said.
  void expectAction(const std::string& action, const std::shared_ptr<UIView>& view, QObject& sender);
  bool isInput() const { return isInput_; }

  // What the latest touch is on, while its events are being handled; null otherwise.
  std::shared_ptr<UIView> touchedView() const;
  // An action of `sender`: it belongs to the latest touch when that is on the sender or inside of it, else
  // gets one of its own. What the app does without the user is left out.
  void sendAction(const std::string& action, const std::shared_ptr<UIView>& sender);

 private:
  struct Expected {
    std::string action;
    std::shared_ptr<UIView> view;
    QPointer<QObject> sender;
  };

  void send(UITouchPhase phase);
  bool isTouchOn(const UIView& view) const;
  void deliver(const std::string& action, const std::shared_ptr<UIView>& sender);
  void clearInput();

  QtLater clearing_{[this] { clearInput(); }};
  // Deleted by the event loop when what handles the input has returned: an app may let events be processed in
  // between, in a loop of its own or without any.
  QPointer<QObject> handling_;
  QObject handlings_;  // owns those that wait to be deleted
  std::optional<Expected> expected_;
  // What was taken as said, and the event loop in which it may still be said.
  std::shared_ptr<UIView> rescued_;
  int rescuedLevel_ = 0;
  std::shared_ptr<UIEvent> event_;  // of the latest touch, null when its events have been handled
  std::shared_ptr<UITouch> touch_;
  bool isDown_ = false;
  bool isInput_ = false;
  int inputLevel_ = 0;  // of event loops, in which the input came
};

}  // namespace platform
