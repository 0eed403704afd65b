#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/runtime/Method.h"
#include "platform/runtime/NSObject.h"
#include "platform/runtime/Passkey.h"

namespace platform {

class GestureDelivery;
class UIEvent;
class UITouch;
class UIView;

// Ended is also what a recogniser of a single moment ends in: "recognised".
enum class UIGestureRecognizerState {
  Possible = 0,
  Began = 1,
  Changed = 2,
  Ended = 3,
  Cancelled = 4,
  Failed = 5
};

// Watches the touches of a view and everything inside it for one kind of movement.
//
// States: Possible → Failed, or Possible → Ended (a tap), or Possible → Began → Changed* → Ended or Cancelled
// (a pan); any other step is refused and leaves the state as it was. Once all fingers are up a recogniser
// that has finished is Possible again, by way of setState. Its actions are sent after the step, outside
// setState, with the recogniser as sender, in Began, Changed, Ended and Cancelled; several steps of one round
// of touches are one call, in the latest state.
//
// Owner: its view, and whoever made it. Targets are held weakly. Main thread only.
class PLATFORM_EXPORT UIGestureRecognizer : public NSObject {
  NS_OBJECT(UIGestureRecognizer, NSObject)

 public:
  using Touches = std::vector<std::shared_ptr<UITouch>>;

  // What others may replace.
  static Method<std::shared_ptr<UIGestureRecognizer>(UIGestureRecognizer&, NSObject* target, SEL action)>
      initWithTargetMethod;
  static Method<void(UIGestureRecognizer&, UIGestureRecognizerState state)> setStateMethod;

  static void describe(ClassBuilder<UIGestureRecognizer>& c);

  // A recogniser of the kind T that calls the action of the target. Both may be null.
  template <class T>
  static std::shared_ptr<T> create(NSObject* target = nullptr, SEL action = {}) {
    const auto recognizer = std::make_shared<T>();
    return std::dynamic_pointer_cast<T>(recognizer->initWithTarget(target, action));
  }

  UIGestureRecognizer();
  ~UIGestureRecognizer() override;

  // "initWithTarget:action:", once, on a fresh recogniser: answers the receiver.
  virtual std::shared_ptr<UIGestureRecognizer> initWithTarget(NSObject* target, SEL action);
  // The first of a recogniser that was not made by create() initialises it.
  void addTarget(NSObject* target, SEL action);

  virtual UIGestureRecognizerState state() const { return state_; }
  // "setState:". For subclasses; refuses steps that do not exist.
  virtual void setState(UIGestureRecognizerState state);

  // Null while it is on no view.
  virtual std::shared_ptr<UIView> view() const;
  // One that is disabled watches no touches. Disabling gives up what is under way.
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  // Whether recognising takes the touches away from the view. Yes unless set.
  bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
  void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }
  // The middle of the touches, in the coordinates of the view, or the window when it is null.
  CGPoint locationInView(const UIView* view) const;
  std::size_t numberOfTouches() const { return touches_.size(); }

  // Whether another recogniser may go on when this one has recognised; one of the two saying yes is enough.
  // No unless a class says otherwise.
  virtual bool shouldRecognizeSimultaneouslyWith(const UIGestureRecognizer&) const { return false; }

  // What the movement is made of; for subclasses. Each gets the touches that have just entered the phase.
  virtual void touchesBegan(const Touches&, UIEvent*) {}
  virtual void touchesMoved(const Touches&, UIEvent*) {}
  virtual void touchesEnded(const Touches&, UIEvent*) {}
  virtual void touchesCancelled(const Touches&, UIEvent*) {}
  // Back to Possible: forget what was seen.
  virtual void reset() {}

  // The end of what is under way: Cancelled, with its action, or Failed.
  void giveUp();

  // Null when the recogniser leaves its view; it then gives up what is under way with the next change of its
  // touches.
  void attach(Passkey<UIView>, const std::shared_ptr<UIView>& view) { view_ = view; }

  using DeliveryKey = Passkey<GestureDelivery>;
  void setDelivery(DeliveryKey, GestureDelivery* delivery) { delivery_ = delivery; }
  // Feeds touches that entered one phase; those that began are its touches from now on. One that has finished
  // is fed nothing.
  void deliver(DeliveryKey, const Touches& touches, UIEvent* event);
  // Whether it has recognised (left Possible for Began or Ended) since this was last asked.
  bool takeRecognized(DeliveryKey) { return std::exchange(recognized_, false); }
  // Sends the actions when a step since the last call asks for it.
  void sendPendingActions(DeliveryKey) { sendPendingActions(); }
  // The end of a round: lets go of the fingers that were lifted, and is Possible again when it has finished
  // and none is left.
  void resetIfFinished(DeliveryKey);

 protected:
  // Those that are down, and until the end of the round those that were lifted in it.
  const Touches& touches() const { return touches_; }
  // How many of them are down.
  std::size_t numberOfFingersDown() const;
  // How far the finger that moved most is from where it came down, in points.
  double greatestMovement() const;
  // Sets a state outside the touch functions (a timer's step): what follows from it happens before this
  // returns.
  void stepNow(UIGestureRecognizerState state);

 private:
  struct Target {
    std::weak_ptr<NSObject> object;
    SEL action;
  };
  void sendPendingActions();
  bool isStepAllowed(UIGestureRecognizerState next) const;
  bool isActive() const;
  bool isFinished() const;

  std::weak_ptr<UIView> view_;
  std::vector<Target> targets_;
  Touches touches_;
  std::vector<CGPoint> startLocations_;  // of touches_, in the window
  GestureDelivery* delivery_ = nullptr;  // while it has touches
  UIGestureRecognizerState state_ = UIGestureRecognizerState::Possible;
  bool isInitialized_ = false;
  bool actionsPending_ = false;
  bool recognized_ = false;
  bool enabled_ = true;
  bool cancelsTouchesInView_ = true;
};

}  // namespace platform
