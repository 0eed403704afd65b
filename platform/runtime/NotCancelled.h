#pragma once

#include <pthread.h>

namespace platform {

// While it lives the thread is not cancelled: a request (pthread_cancel) takes effect at the next
// cancellation point after it. For work that writes to files, each of which is such a point, and must not be
// left in the middle.
class NotCancelled {
 public:
  NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }
  NotCancelled(const NotCancelled&) = delete;
  NotCancelled& operator=(const NotCancelled&) = delete;

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace platform
