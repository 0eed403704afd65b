#pragma once

#include <limits>

#include "platform/uikit/UIGestureRecognizer.h"

namespace platform {

// Fingers that move: Began once their middle is 10 points from where they came down, Changed with each
// movement, Ended when too few of them are left. A finger that joins or leaves in between moves nothing.
class PLATFORM_EXPORT UIPanGestureRecognizer : public UIGestureRecognizer {
  NS_OBJECT(UIPanGestureRecognizer, UIGestureRecognizer)

 public:
  // Fingers. 1 unless set.
  int minimumNumberOfTouches() const { return minimumTouches_; }
  void setMinimumNumberOfTouches(int touches) { minimumTouches_ = touches; }
  // Any unless set. One more makes it fail, and is left aside once it has begun.
  int maximumNumberOfTouches() const { return maximumTouches_; }
  void setMaximumNumberOfTouches(int touches) { maximumTouches_ = touches; }

  // From where the fingers came down. Points are as long in every view.
  CGPoint translationInView(const UIView* view) const;

  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;
  void reset() override;

 private:
  CGPoint middleOfFingers() const;
  void followNewFingers();
  void move();

  int minimumTouches_ = 1;
  int maximumTouches_ = std::numeric_limits<int>::max();
  CGPoint translation_;
  CGPoint middle_;  // at the latest change, in the window
};

}  // namespace platform
