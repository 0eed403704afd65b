#pragma once

namespace platform {

class RunLoop;

// While at least one of these lives, the main run loop is in its tracking mode. Held by a view while a finger
// drags it; main thread only.
class TrackingMode {
 public:
  TrackingMode();
  ~TrackingMode();
  TrackingMode(const TrackingMode&) = delete;
  TrackingMode& operator=(const TrackingMode&) = delete;

 private:
  RunLoop& loop_;
};

}  // namespace platform
