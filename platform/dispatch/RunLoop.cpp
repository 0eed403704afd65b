#include "platform/dispatch/RunLoop.h"

#include <unistd.h>

namespace platform {

bool RunLoop::isMainThread() const {
  // Asked of the system once a thread.
  static thread_local const bool isFirstThread = ::gettid() == ::getpid();
  return isFirstThread;
}

}  // namespace platform
