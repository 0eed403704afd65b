#include "platform/uikit/UISwipeGestureRecognizer.h"

#include <algorithm>
#include <cmath>

#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

using State = UIGestureRecognizerState;
using Direction = UISwipeGestureRecognizerDirection;

constexpr double kDistance = 50;           // points, to recognise
constexpr double kUndecidedDistance = 10;  // points, below which no direction shows
constexpr double kLongest = 0.5;           // seconds

Direction mainDirection(double dx, double dy) {
  if (std::abs(dx) >= std::abs(dy)) return dx > 0 ? Direction::Right : Direction::Left;
  return dy > 0 ? Direction::Down : Direction::Up;
}

}  // namespace

void UISwipeGestureRecognizer::touchesBegan(const Touches& began, UIEvent*) {
  if (static_cast<int>(numberOfFingersDown()) > touchesRequired_) return setState(State::Failed);
  start_ = locationInView(nullptr);
  startedAt_ = began.back()->timestamp();
}

void UISwipeGestureRecognizer::touchesMoved(const Touches& moved, UIEvent*) {
  const CGPoint middle = locationInView(nullptr);
  const double dx = middle.x - start_.x;
  const double dy = middle.y - start_.y;
  const double distance = std::max(std::abs(dx), std::abs(dy));
  if (distance < kUndecidedDistance) return;

  const bool isTooLate = moved.back()->timestamp() - startedAt_ > kLongest;
  if (isTooLate || !(mainDirection(dx, dy) & direction_)) return setState(State::Failed);
  const bool allFingersDown = static_cast<int>(numberOfFingersDown()) == touchesRequired_;
  if (allFingersDown && distance >= kDistance) setState(State::Ended);
}

void UISwipeGestureRecognizer::touchesEnded(const Touches&, UIEvent*) { setState(State::Failed); }

void UISwipeGestureRecognizer::touchesCancelled(const Touches&, UIEvent*) { setState(State::Failed); }

}  // namespace platform
