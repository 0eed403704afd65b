#pragma once

#include <memory>
#include <vector>

#include "platform/uikit/UIView.h"

namespace platform {

// A set of these is the bitwise or of its members.
enum class UIControlEvents : unsigned {
  TouchDown = 1 << 0,
  TouchDownRepeat = 1 << 1,
  TouchDragInside = 1 << 2,
  TouchDragOutside = 1 << 3,
  TouchUpInside = 1 << 6,
  TouchUpOutside = 1 << 7,
  TouchCancel = 1 << 8,
  ValueChanged = 1 << 12,
  EditingDidBegin = 1 << 16,
  EditingChanged = 1 << 17,
  EditingDidEnd = 1 << 18,
  EditingDidEndOnExit = 1 << 19,
};
constexpr UIControlEvents operator|(UIControlEvents a, UIControlEvents b) {
  return static_cast<UIControlEvents>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool operator&(UIControlEvents a, UIControlEvents b) {
  return (static_cast<unsigned>(a) & static_cast<unsigned>(b)) != 0;
}

// A view that turns touches into control events, and control events into actions of its targets.
//
//   button->addTarget(controller, SEL("buy:"), UIControlEvents::TouchUpInside);
//
// An action is a function that the target's class lists (ClassBuilder::action); the system log names one that
// it does not list when it is sent. It is sent through the application. Targets are held weakly; a null
// target means the first responder in the chain of the control that has the action.
class PLATFORM_EXPORT UIControl : public UIView {
  NS_OBJECT(UIControl, UIView)

 public:
  using UIView::UIView;
  // Keys that are announced: "enabled", "selected", "highlighted".
  static void describe(ClassBuilder<UIControl>& c);

  // A target and an action that are there already are sent for the given events, too, but not twice.
  void addTarget(const std::shared_ptr<NSObject>& target, SEL action, UIControlEvents events);
  // A null action stands for all of the target's; a null target for the responder chain.
  void removeTarget(const NSObject* target, SEL action, UIControlEvents events);
  // Sends the actions for the events, in the order of addition: those that were there when the call was made,
  // whatever an action does to the list. What an action throws passes through and ends the round.
  void sendActionsForControlEvents(UIControlEvents events, UIEvent* event = nullptr);
  // "sendAction:to:forEvent:". Where a subclass may watch or stop its actions.
  virtual void sendAction(SEL action, NSObject* target, UIEvent* event);

  // A disabled control takes no touches; one that is down on it at that moment is forgotten.
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  bool isSelected() const { return selected_; }
  virtual void setSelected(bool selected);
  // A finger is down inside. False again before the actions for lifting it are sent.
  bool isHighlighted() const { return highlighted_; }
  virtual void setHighlighted(bool highlighted);

  UIView* hitTest(CGPoint point, UIEvent* event) override;
  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;

 protected:
  // The finger that went down on the control was lifted: sends TouchUpInside or TouchUpOutside.
  virtual void touchUp(const UITouch& touch, UIEvent* event);
  // A finger that went down on the control may stray a little before it counts as outside.
  bool isTouchInside(const UITouch& touch) const;

 private:
  struct Target {
    std::weak_ptr<NSObject> object;
    bool toResponderChain;
    SEL action;
    UIControlEvents events;

    bool isTo(const NSObject* target) const {
      return target ? object.lock().get() == target : toResponderChain;
    }
    bool isDead() const { return !toResponderChain && object.expired(); }
  };
  bool isTracking() const;
  // The touch that is being tracked, if it is among those given.
  std::shared_ptr<UITouch> trackedAmong(const Touches& touches) const;
  void stopTracking();

  std::vector<Target> targets_;
  std::weak_ptr<UITouch> touch_;  // the one that is tracked
  bool enabled_ = true;
  bool selected_ = false;
  bool highlighted_ = false;
};

}  // namespace platform
