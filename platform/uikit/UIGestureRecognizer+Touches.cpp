#include <algorithm>
#include <cmath>

#include "platform/uikit/GestureDelivery.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

bool isDown(const UITouch& touch) {
  return touch.phase() != UITouchPhase::Ended && touch.phase() != UITouchPhase::Cancelled;
}

}  // namespace

void UIGestureRecognizer::deliver(DeliveryKey, const Touches& touches, UIEvent* event) {
  if (touches.empty() || isFinished()) return;
  switch (touches.front()->phase()) {
    case UITouchPhase::Began:
      for (const auto& touch : touches) {
        touches_.push_back(touch);
        startLocations_.push_back(touch->locationInView(nullptr));
      }
      return touchesBegan(touches, event);
    case UITouchPhase::Moved:
      return touchesMoved(touches, event);
    case UITouchPhase::Stationary:
      return;
    case UITouchPhase::Ended:
      return touchesEnded(touches, event);
    case UITouchPhase::Cancelled:
      return touchesCancelled(touches, event);
  }
}

void UIGestureRecognizer::resetIfFinished(DeliveryKey) {
  for (std::size_t i = touches_.size(); i-- > 0;) {
    if (isDown(*touches_[i])) continue;
    touches_.erase(touches_.begin() + static_cast<std::ptrdiff_t>(i));
    startLocations_.erase(startLocations_.begin() + static_cast<std::ptrdiff_t>(i));
  }
  if (!touches_.empty()) return;
  delivery_ = nullptr;
  if (!isFinished()) return;

  // Whatever a subclass or a replacement does here, the next touches find the first state.
  struct InFirstState {
    UIGestureRecognizer& recognizer;
    ~InFirstState() {
      recognizer.state_ = UIGestureRecognizerState::Possible;
      recognizer.actionsPending_ = false;
      recognizer.recognized_ = false;
    }
  } const atTheEnd{*this};
  reset();
  setState(UIGestureRecognizerState::Possible);
}

CGPoint UIGestureRecognizer::locationInView(const UIView* view) const {
  CGPoint middle;
  for (const auto& touch : touches_) {
    const CGPoint location = touch->locationInView(view);
    middle.x += location.x / static_cast<double>(touches_.size());
    middle.y += location.y / static_cast<double>(touches_.size());
  }
  return middle;
}

std::size_t UIGestureRecognizer::numberOfFingersDown() const {
  return static_cast<std::size_t>(
      std::count_if(touches_.begin(), touches_.end(), [](const auto& touch) { return isDown(*touch); }));
}

double UIGestureRecognizer::greatestMovement() const {
  double greatest = 0;
  for (std::size_t i = 0; i < touches_.size(); ++i) {
    const CGPoint location = touches_[i]->locationInView(nullptr);
    greatest =
        std::max(greatest, std::hypot(location.x - startLocations_[i].x, location.y - startLocations_[i].y));
  }
  return greatest;
}

void UIGestureRecognizer::stepNow(UIGestureRecognizerState state) {
  const auto self = std::static_pointer_cast<UIGestureRecognizer>(shared_from_this());
  setState(state);
  if (delivery_) {
    delivery_->recognizerStepped(self);
  } else {
    sendPendingActions();
  }
}

}  // namespace platform
