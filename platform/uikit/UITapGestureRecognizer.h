#pragma once

#include "platform/uikit/UIGestureRecognizer.h"

namespace platform {

// Fingers that come down and are lifted where they were: Ended when the last one is up. A single tap of one
// finger on an enabled control inside the view belongs to the control.
class PLATFORM_EXPORT UITapGestureRecognizer : public UIGestureRecognizer {
  NS_OBJECT(UITapGestureRecognizer, UIGestureRecognizer)

 public:
  // In short succession. 1 unless set.
  int numberOfTapsRequired() const { return tapsRequired_; }
  void setNumberOfTapsRequired(int taps) { tapsRequired_ = taps; }
  // Fingers. 1 unless set.
  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches; }

  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;
  void reset() override;

 private:
  bool isTapOfControl() const;

  int tapsRequired_ = 1;
  int touchesRequired_ = 1;
  bool allFingersCameDown_ = false;
  int tapCount_ = 0;  // of the fingers that are down
};

}  // namespace platform
