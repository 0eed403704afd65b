#pragma once

#include <exception>
#include <memory>
#include <vector>

#include "platform/uikit/UITouch.h"

namespace platform {

class UIEvent;
class UIGestureRecognizer;

// Between a window and the gesture recognisers of its views: who sees which touch, who wins, and which
// touches the views may still see.
//
// A finger's recognisers are those of the view it came down on and of everything around that, innermost
// first; they stay the same until it is lifted. Recognisers see every change before views do. One that
// recognises makes the others on its fingers fail, unless the two may go on together. If it cancels touches
// in views, the views are told that theirs are cancelled, and hear no more of them.
//
//   void UIWindow::sendEvent(UIEvent& event) {
//     const auto round = gestures_.deliver(event.touchesForWindow(*this), event);
//     ... each of round.forViews to its view, by phase; then rethrow round.thrown
//   }
//
// Owner: its window, as a member. What the app throws in a handler is handed to the caller once the round is
// complete; when several handlers throw in one round, the first one's. Handlers may change the tree, release
// anything in it and send further events. Main thread only.
class GestureDelivery {
 public:
  using Touches = std::vector<std::shared_ptr<UITouch>>;
  struct Delivered {
    // Those that the window is to hand to their views now: the ones that changed and were not taken by a
    // recogniser, and of several fingers on a view that wants only one, the first.
    Touches forViews;
    std::exception_ptr thrown;  // by a handler; null for nothing
  };

  GestureDelivery();
  ~GestureDelivery();
  GestureDelivery(const GestureDelivery&) = delete;
  GestureDelivery& operator=(const GestureDelivery&) = delete;

  // One round: `touches` are all of the event that are in the window, in their new phases. An action that
  // throws does not keep the views from their touches.
  Delivered deliver(const Touches& touches, UIEvent& event);

  // A recogniser has stepped outside a round: sends its actions, does what follows from the step, and throws
  // what they threw.
  void recognizerStepped(const std::shared_ptr<UIGestureRecognizer>& recognizer);

 private:
  struct Down;
  class Round;

  Down* find(const UITouch& touch);

  std::vector<Down> down_;
};

}  // namespace platform
