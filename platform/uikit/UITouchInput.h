#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/uikit/UIEvent.h"

namespace platform {

class UIWindow;

// What a touch screen or a pointer reports, turned into touches and sent through the shared application.
//
// Owner: whoever reads the device (a host's window, a scripted user). A finger is any number that is not in
// use; several may be down at once, and all of them are in every event. Points are in screen coordinates,
// unless a window is given. What the app throws while it handles the event reaches the caller, after the
// touch has been taken off the list as usual. Main thread only.
class UITouchInput {
 public:
  using Finger = std::int64_t;

  UITouchInput();
  // Cancels what is still down: nobody would ever lift it.
  ~UITouchInput();

  // Hits the front-most visible window and view at the point; where there is no view, that is the window
  // itself. A touch outside of all windows has neither, and only the application sees it. A finger that is
  // down already is lifted first.
  void touchBegan(Finger finger, CGPoint pointOnScreen);
  // In one window, at a point of its own coordinates, even where another one is in front.
  void touchBegan(Finger finger, CGPoint point, const std::shared_ptr<UIWindow>& window);
  // Calls about a finger that is not down are ignored.
  void touchMoved(Finger finger, CGPoint point);
  void touchEnded(Finger finger);
  // The system takes the touches away: a call comes in, the app leaves the screen.
  void cancelAllTouches();

  // Null when the finger is not down.
  std::shared_ptr<UITouch> touchOf(Finger finger) const;

 private:
  struct Down {
    Finger finger;
    std::shared_ptr<UITouch> touch;
    CGPoint start;  // in the window
    bool onScreen;  // its points are in screen coordinates
  };
  // Where and when a finger was last lifted that had hardly moved.
  struct Tap {
    std::weak_ptr<UIWindow> window;
    CGPoint place;  // in the window
    double uptime;
    int count;
  };

  const Down* find(Finger finger) const;
  void begin(Finger finger, CGPoint point, bool onScreen, std::shared_ptr<UIWindow> window,
             std::shared_ptr<UIView> view);
  int tapCountAt(const std::shared_ptr<UIWindow>& window, CGPoint point, double uptime) const;
  void noteTap(const Down& down);
  // A new one each time: one that is being handled stays as it is.
  std::shared_ptr<UIEvent> eventOfAll() const;

  std::vector<Down> down_;  // in the order in which they came down
  std::optional<Tap> lastTap_;
};

}  // namespace platform
