#pragma once

#include "platform/uikit/UIGestureRecognizer.h"

namespace platform {

// A set of these is the bitwise or of its members.
enum class UISwipeGestureRecognizerDirection : unsigned {
  Right = 1 << 0,
  Left = 1 << 1,
  Up = 1 << 2,
  Down = 1 << 3
};
constexpr UISwipeGestureRecognizerDirection operator|(UISwipeGestureRecognizerDirection a,
                                                      UISwipeGestureRecognizerDirection b) {
  return static_cast<UISwipeGestureRecognizerDirection>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool operator&(UISwipeGestureRecognizerDirection a, UISwipeGestureRecognizerDirection b) {
  return (static_cast<unsigned>(a) & static_cast<unsigned>(b)) != 0;
}

// Fingers that move quickly to one side: Ended once they are 50 points away, within half a second and while
// they are still down. Failed when they take another direction, are too slow or are lifted before.
class PLATFORM_EXPORT UISwipeGestureRecognizer : public UIGestureRecognizer {
  NS_OBJECT(UISwipeGestureRecognizer, UIGestureRecognizer)

 public:
  using Direction = UISwipeGestureRecognizerDirection;

  // Right unless set.
  Direction direction() const { return direction_; }
  void setDirection(Direction direction) { direction_ = direction; }
  // Fingers. 1 unless set.
  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches; }

  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;

 private:
  Direction direction_ = Direction::Right;
  int touchesRequired_ = 1;
  CGPoint start_;         // middle of the fingers when the last one came down, in the window
  double startedAt_ = 0;  // uptime
};

}  // namespace platform
