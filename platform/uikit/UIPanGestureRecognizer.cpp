#include "platform/uikit/UIPanGestureRecognizer.h"

#include <cmath>

#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

using State = UIGestureRecognizerState;

constexpr double kDistanceToBegin = 10;  // points

}  // namespace

CGPoint UIPanGestureRecognizer::translationInView(const UIView*) const { return translation_; }

void UIPanGestureRecognizer::touchesBegan(const Touches&, UIEvent*) {
  if (state() == State::Possible && static_cast<int>(numberOfFingersDown()) > maximumTouches_) {
    return setState(State::Failed);
  }
  followNewFingers();
}

void UIPanGestureRecognizer::touchesMoved(const Touches&, UIEvent*) {
  move();
  if (state() != State::Possible) return setState(State::Changed);
  const bool enoughFingers = static_cast<int>(numberOfFingersDown()) >= minimumTouches_;
  if (enoughFingers && std::hypot(translation_.x, translation_.y) >= kDistanceToBegin) setState(State::Began);
}

void UIPanGestureRecognizer::touchesEnded(const Touches&, UIEvent*) {
  const int left = static_cast<int>(numberOfFingersDown());
  if (state() == State::Possible) {
    if (left == 0) return setState(State::Failed);
  } else if (left < minimumTouches_) {
    return setState(State::Ended);
  }
  followNewFingers();
}

void UIPanGestureRecognizer::touchesCancelled(const Touches&, UIEvent*) {
  setState(state() == State::Possible ? State::Failed : State::Cancelled);
}

void UIPanGestureRecognizer::reset() { translation_ = {}; }

void UIPanGestureRecognizer::followNewFingers() { middle_ = middleOfFingers(); }

void UIPanGestureRecognizer::move() {
  const CGPoint middle = middleOfFingers();
  translation_ = {translation_.x + middle.x - middle_.x, translation_.y + middle.y - middle_.y};
  middle_ = middle;
}

// In the window: the view itself may move with the fingers. No more fingers count than the maximum.
CGPoint UIPanGestureRecognizer::middleOfFingers() const {
  CGPoint sum;
  int count = 0;
  for (const auto& touch : touches()) {
    if (count == maximumTouches_) break;
    if (touch->phase() == UITouchPhase::Ended || touch->phase() == UITouchPhase::Cancelled) continue;
    const CGPoint location = touch->locationInView(nullptr);
    sum = {sum.x + location.x, sum.y + location.y};
    ++count;
  }
  return count == 0 ? middle_ : CGPoint{sum.x / count, sum.y / count};
}

}  // namespace platform
