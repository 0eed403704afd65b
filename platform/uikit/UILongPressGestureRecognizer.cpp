#include "platform/uikit/UILongPressGestureRecognizer.h"

#include <algorithm>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UITouch.h"

namespace platform {

using State = UIGestureRecognizerState;

UILongPressGestureRecognizer::~UILongPressGestureRecognizer() { stopTimer(); }

void UILongPressGestureRecognizer::touchesBegan(const Touches&, UIEvent*) {
  if (state() != State::Possible) return;
  const int fingers = static_cast<int>(numberOfFingersDown());
  if (fingers > touchesRequired_) return fail();
  if (fingers < touchesRequired_) return;
  const bool isAfterTaps = std::any_of(touches().begin(), touches().end(), [this](const auto& touch) {
    return touch->tapCount() > tapsRequired_;
  });
  if (!isAfterTaps) return fail();
  startTimer();
}

void UILongPressGestureRecognizer::touchesMoved(const Touches&, UIEvent*) {
  if (state() != State::Possible) return setState(State::Changed);
  if (greatestMovement() > allowableMovement_) fail();
}

void UILongPressGestureRecognizer::touchesEnded(const Touches&, UIEvent*) {
  if (state() == State::Possible) return fail();
  if (static_cast<int>(numberOfFingersDown()) < touchesRequired_) setState(State::Ended);
}

void UILongPressGestureRecognizer::touchesCancelled(const Touches&, UIEvent*) {
  if (state() == State::Possible) return fail();
  setState(State::Cancelled);
}

void UILongPressGestureRecognizer::reset() { stopTimer(); }

void UILongPressGestureRecognizer::startTimer() {
  stopTimer();
  const auto press = [weak = weak_from_this()] {
    const auto self = std::static_pointer_cast<UILongPressGestureRecognizer>(weak.lock());
    if (self && self->view() && self->state() == State::Possible) self->stepNow(State::Began);
  };
  timer_ = NSTimer::create(minimumPressDuration_, press);
  Scheduler::current().mainRunLoop().addTimer(timer_, RunLoopMode::Common);
}

void UILongPressGestureRecognizer::stopTimer() {
  if (const auto timer = std::exchange(timer_, nullptr)) timer->invalidate();
}

void UILongPressGestureRecognizer::fail() {
  stopTimer();
  setState(State::Failed);
}

}  // namespace platform
