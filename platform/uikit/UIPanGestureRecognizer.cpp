#include "platform/uikit/UIPanGestureRecognizer.h"

#include <algorithm>
#include <cmath>

#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

using State = UIGestureRecognizerState;

constexpr double kDistanceToBegin = 10;  // points
constexpr double kRest = 0.1;            // seconds without movement, after which nothing is left of the speed

}  // namespace

CGPoint UIPanGestureRecognizer::translationInView(const UIView*) const { return translation_; }

void UIPanGestureRecognizer::setTranslation(CGPoint translation, const UIView*) {
  translation_ = translation;
}

CGPoint UIPanGestureRecognizer::velocityInView(const UIView*) const {
  return latestTimestamp() - movedAt_ > kRest ? CGPoint{} : velocity_;
}

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

void UIPanGestureRecognizer::reset() {
  translation_ = {};
  velocity_ = {};
}

void UIPanGestureRecognizer::followNewFingers() {
  middle_ = middleOfFingers();
  movedAt_ = latestTimestamp();
}

void UIPanGestureRecognizer::move() {
  const CGPoint middle = middleOfFingers();
  const CGPoint step{middle.x - middle_.x, middle.y - middle_.y};
  const double now = latestTimestamp();
  if (const double seconds = now - movedAt_; seconds > 0) {
    velocity_ = {step.x / seconds, step.y / seconds};
  }
  translation_ = {translation_.x + step.x, translation_.y + step.y};
  middle_ = middle;
  movedAt_ = now;
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

double UIPanGestureRecognizer::latestTimestamp() const {
  double latest = 0;
  for (const auto& touch : touches()) latest = std::max(latest, touch->timestamp());
  return latest;
}

}  // namespace platform
