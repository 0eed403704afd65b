#pragma once

#include "platform/uikit/UIGestureRecognizer.h"

namespace platform {

class NSTimer;

// Fingers that stay where they came down: Began after a while, by a timer that runs in every mode of the main
// run loop, then Changed with each movement, Ended when one of them is lifted. Failed when one moves or is
// lifted too early, or another one joins.
class PLATFORM_EXPORT UILongPressGestureRecognizer : public UIGestureRecognizer {
  NS_OBJECT(UILongPressGestureRecognizer, UIGestureRecognizer)

 public:
  ~UILongPressGestureRecognizer() override;

  // In seconds. 0.5 unless set.
  double minimumPressDuration() const { return minimumPressDuration_; }
  void setMinimumPressDuration(double seconds) { minimumPressDuration_ = seconds; }
  // Fingers. 1 unless set.
  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches; }
  // Full taps before the press. 0 unless set.
  int numberOfTapsRequired() const { return tapsRequired_; }
  void setNumberOfTapsRequired(int taps) { tapsRequired_ = taps; }
  // In points, before the press has begun. 10 unless set.
  double allowableMovement() const { return allowableMovement_; }
  void setAllowableMovement(double points) { allowableMovement_ = points; }

  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;
  void reset() override;

 private:
  void startTimer();
  void stopTimer();
  void fail();

  double minimumPressDuration_ = 0.5;
  double allowableMovement_ = 10;
  int touchesRequired_ = 1;
  int tapsRequired_ = 0;
  std::shared_ptr<NSTimer> timer_;
};

}  // namespace platform
