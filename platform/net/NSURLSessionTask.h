#pragma once

namespace platform {

// One piece of work of a session. Starts suspended: nothing happens before resume(). All functions may be
// called from any thread and return at once.
class NSURLSessionTask {
 public:
  enum class State { running, suspended, canceling, completed };

  virtual ~NSURLSessionTask() = default;
  // No effect on a task that has been resumed before.
  virtual void resume() = 0;
  // The task ends with NSURLErrorCancelled, unless it has ended already.
  virtual void cancel() = 0;
  virtual State state() const = 0;
};

}  // namespace platform
