#include "platform/uikit/UITapGestureRecognizer.h"

#include <algorithm>

#include "platform/uikit/UIControl.h"
#include "platform/uikit/UITouch.h"

namespace platform {

namespace {
constexpr double kAllowableMovement = 10;
}

void UITapGestureRecognizer::touchesBegan(const Touches& began, UIEvent*) {
  for (const auto& touch : began) tapCount_ = std::max(tapCount_, touch->tapCount());
  const int fingers = static_cast<int>(numberOfFingersDown());
  if (fingers >= touchesRequired_) allFingersCameDown_ = true;
  if (fingers > touchesRequired_) setState(UIGestureRecognizerState::Failed);
}

void UITapGestureRecognizer::touchesMoved(const Touches&, UIEvent*) {
  if (greatestMovement() > kAllowableMovement) setState(UIGestureRecognizerState::Failed);
}

void UITapGestureRecognizer::touchesEnded(const Touches&, UIEvent*) {
  if (numberOfFingersDown() > 0) return;
  const bool isTap = allFingersCameDown_ && greatestMovement() <= kAllowableMovement &&
                     tapCount_ % std::max(tapsRequired_, 1) == 0 && !isTapOfControl();
  setState(isTap ? UIGestureRecognizerState::Ended : UIGestureRecognizerState::Failed);
}

void UITapGestureRecognizer::touchesCancelled(const Touches&, UIEvent*) {
  setState(UIGestureRecognizerState::Failed);
}

void UITapGestureRecognizer::reset() {
  allFingersCameDown_ = false;
  tapCount_ = 0;
}

bool UITapGestureRecognizer::isTapOfControl() const {
  if (tapsRequired_ != 1 || touchesRequired_ != 1) return false;
  const auto own = view();
  const auto hit = touches().front()->view();
  for (const UIView* inner = hit.get(); inner && inner != own.get(); inner = inner->superview()) {
    const auto* const control = dynamic_cast<const UIControl*>(inner);
    if (control && control->isEnabled()) return true;
  }
  return false;
}

}  // namespace platform
