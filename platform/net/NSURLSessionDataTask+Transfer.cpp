// Starting and cancelling a task: what it needs of the transfer thread, which in its turn knows tasks.

#include "platform/net/NSURLError.h"
#include "platform/net/NSURLSessionDataTask.h"
#include "platform/net/TransferThread.h"

namespace platform {

void NSURLSessionDataTask::resume() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended) return;
    state_ = State::running;
  }
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
