#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/runtime/NSObject.h"

namespace platform {

class UIGestureRecognizer;
class UIView;
class UIWindow;

enum class UITouchPhase { Began = 0, Moved = 1, Stationary = 2, Ended = 3, Cancelled = 4 };

// One finger on the screen, from touching down to lifting.
//
// The phase follows the finger and can be observed by key ("phase"). It is also Cancelled while a view is
// told that a gesture recogniser took the touch away from it, and then follows the finger again; only a touch
// that the system takes away ends as Cancelled.
//
// The view and the window are held for as long as the touch is: a touch that outlives them in a queue still
// names them. Made by UITouchInput, or by another toolkit as a subclass. Main thread only.
class PLATFORM_EXPORT UITouch : public NSObject {
  NS_OBJECT(UITouch, NSObject)

 public:
  static void describe(ClassBuilder<UITouch>& c);

  virtual UITouchPhase phase() const { return phase_; }
  // The view that was hit at first, for the touch's whole life; null when none was.
  virtual std::shared_ptr<UIView> view() const { return view_; }
  virtual std::shared_ptr<UIWindow> window() const { return window_; }
  // In the coordinates of the view, or of the window when it is null.
  virtual CGPoint locationInView(const UIView* view) const;
  // How often this finger touched down at about the same place in short succession, this time included.
  virtual int tapCount() const { return tapCount_; }
  // Seconds of uptime of the latest change.
  virtual double timestamp() const { return timestamp_; }

  // For those who make touches.
  void setPhase(UITouchPhase phase);
  void setTarget(std::shared_ptr<UIWindow> window, std::shared_ptr<UIView> view);
  void moveTo(CGPoint locationInWindow) { location_ = locationInWindow; }
  void setTapCount(int count) { tapCount_ = count; }
  void setTimestamp(double uptime) { timestamp_ = uptime; }

 private:
  UITouchPhase phase_ = UITouchPhase::Began;
  std::shared_ptr<UIView> view_;
  std::shared_ptr<UIWindow> window_;
  CGPoint location_;
  int tapCount_ = 1;
  double timestamp_ = 0;
};

}  // namespace platform
