#pragma once

namespace platform {

// The handle of one piece of work that waits for its time. Dropping the handle does not cancel.
class DispatchTimer {
 public:
  virtual ~DispatchTimer() = default;

  // Any thread, any number of times; harmless once the work has run. Called on the queue that the work would
  // run on, it is exact: after it returns the work never runs. Called elsewhere, work that has begun still
  // finishes.
  virtual void cancel() = 0;
};

}  // namespace platform
