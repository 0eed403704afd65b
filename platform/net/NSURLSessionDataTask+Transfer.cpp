// Starting and cancelling a task: apart because the transfer thread knows tasks, too.

#include "platform/net/NSURLError.h"
#include "platform/net/NSURLSessionDataTask.h"
#include "platform/net/internal/TransferThread.h"

namespace platform {

void NSURLSessionDataTask::resume() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended) return;
    state_ = State::running;
  }
  if (const auto observe = observer.load()) observe(request_);
  TransferThread::shared().start(shared_from_this());
}

void NSURLSessionDataTask::cancel() {
  State before;
  {
    MutexLock lock(mutex_);
    before = state_;
    if (before != State::suspended && before != State::running) return;
    state_ = State::canceling;
  }
  if (before == State::running) {
    TransferThread::shared().cancel(shared_from_this());
  } else {
    complete(nullptr, nullptr, makeURLError(NSURLErrorCancelled, request_.url()));
  }
}

}  // namespace platform
