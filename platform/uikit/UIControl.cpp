#include "platform/uikit/UIControl.h"

#include <algorithm>

#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIEvent.h"
#include "platform/uikit/internal/PerformAction.h"

namespace platform {

namespace {

constexpr double kTrackingTolerance = 70;  // points around the bounds

constexpr UIControlEvents without(UIControlEvents events, UIControlEvents taken) {
  return static_cast<UIControlEvents>(static_cast<unsigned>(events) & ~static_cast<unsigned>(taken));
}

}  // namespace

void UIControl::describe(ClassBuilder<UIControl>& c) {
  c.observableKey("enabled", &UIControl::isEnabled)
      .observableKey("selected", &UIControl::isSelected)
      .observableKey("highlighted", &UIControl::isHighlighted);
}

void UIControl::addTarget(const std::shared_ptr<NSObject>& target, SEL action, UIControlEvents events) {
  const auto known = std::find_if(targets_.begin(), targets_.end(), [&](const Target& entry) {
    return entry.action == action && entry.isTo(target.get());
  });
  if (known != targets_.end()) {
    known->events = known->events | events;
  } else {
    targets_.push_back({target, !target, action, events});
  }
}

void UIControl::removeTarget(const NSObject* target, SEL action, UIControlEvents events) {
  for (Target& entry : targets_) {
    if (entry.isTo(target) && (!action || entry.action == action))
      entry.events = without(entry.events, events);
  }
  std::erase_if(targets_, [](const Target& entry) { return entry.events == UIControlEvents{}; });
}

void UIControl::sendActionsForControlEvents(UIControlEvents events, UIEvent* event) {
  struct Call {
    std::shared_ptr<NSObject> target;
    SEL action;
  };
  std::erase_if(targets_, [](const Target& entry) { return entry.isDead(); });
  std::vector<Call> calls;
  for (const Target& entry : targets_) {
    if (entry.events & events) calls.push_back({entry.object.lock(), entry.action});
  }
  const auto self = weak_from_this().lock();  // an action may let go of the control
  for (const Call& call : calls) sendAction(call.action, call.target.get(), event);
}

void UIControl::sendAction(SEL action, NSObject* target, UIEvent* event) {
  if (const auto application = UIApplication::sharedApplication()) {
    application->sendAction(action, target, this, event);
  } else if (target) {
    performAction(*target, action, this, event);
  }
}

void UIControl::setEnabled(bool enabled) {
  if (enabled_ == enabled) return;
  enabled_ = enabled;
  if (!enabled) stopTracking();
  setNeedsDisplay();
  didChangeValueForKey("enabled");
}

void UIControl::setSelected(bool selected) {
  if (selected_ == selected) return;
  selected_ = selected;
  setNeedsDisplay();
  didChangeValueForKey("selected");
}

void UIControl::setHighlighted(bool highlighted) {
  if (highlighted_ == highlighted) return;
  highlighted_ = highlighted;
  setNeedsDisplay();
  didChangeValueForKey("highlighted");
}

UIView* UIControl::hitTest(CGPoint point, UIEvent* event) {
  return enabled_ ? UIView::hitTest(point, event) : nullptr;
}

void UIControl::touchesBegan(const Touches& touches, UIEvent* event) {
  if (!enabled_ || isTracking() || touches.empty()) return;
  touch_ = touches.front();
  setHighlighted(true);
  sendActionsForControlEvents(touches.front()->tapCount() > 1
                                  ? UIControlEvents::TouchDown | UIControlEvents::TouchDownRepeat
                                  : UIControlEvents::TouchDown,
                              event);
}

void UIControl::touchesMoved(const Touches& touches, UIEvent* event) {
  const auto touch = trackedAmong(touches);
  if (!touch) return;
  const bool inside = isTouchInside(*touch);
  setHighlighted(inside);
  sendActionsForControlEvents(inside ? UIControlEvents::TouchDragInside : UIControlEvents::TouchDragOutside,
                              event);
}

void UIControl::touchesEnded(const Touches& touches, UIEvent* event) {
  const auto touch = trackedAmong(touches);
  if (!touch) return;
  const auto self = weak_from_this().lock();
  stopTracking();
  touchUp(*touch, event);
}

void UIControl::touchesCancelled(const Touches& touches, UIEvent* event) {
  if (!trackedAmong(touches)) return;
  stopTracking();
  sendActionsForControlEvents(UIControlEvents::TouchCancel, event);
}

void UIControl::touchUp(const UITouch& touch, UIEvent* event) {
  sendActionsForControlEvents(
      isTouchInside(touch) ? UIControlEvents::TouchUpInside : UIControlEvents::TouchUpOutside, event);
}

bool UIControl::isTouchInside(const UITouch& touch) const {
  const CGRect area = CGRectInset(bounds(), -kTrackingTolerance, -kTrackingTolerance);
  return CGRectContainsPoint(area, touch.locationInView(this));
}

// Somebody may keep a touch whose end was never reported to the control.
bool UIControl::isTracking() const {
  const auto touch = touch_.lock();
  return touch && touch->phase() != UITouchPhase::Ended && touch->phase() != UITouchPhase::Cancelled;
}

std::shared_ptr<UITouch> UIControl::trackedAmong(const Touches& touches) const {
  const auto tracked = touch_.lock();
  return std::find(touches.begin(), touches.end(), tracked) != touches.end() ? tracked : nullptr;
}

void UIControl::stopTracking() {
  touch_.reset();
  setHighlighted(false);
}

}  // namespace platform
