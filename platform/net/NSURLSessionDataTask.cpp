#include "platform/net/NSURLSessionDataTask.h"

#include <utility>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/net/internal/GuardedCompletion.h"

namespace platform {

NSURLSessionDataTask::NSURLSessionDataTask(NSURLRequest request,
                                           std::shared_ptr<const NSURLSessionConfiguration> configuration,
                                           std::shared_ptr<DispatchQueue> queue, Completion completion)
    : request_(std::move(request)),
      configuration_(std::move(configuration)),
      queue_(std::move(queue)),
      completion_(std::move(completion)) {}

NSURLSessionTask::State NSURLSessionDataTask::state() const {
  MutexLock lock(mutex_);
  return state_;
}

void NSURLSessionDataTask::complete(std::shared_ptr<const std::string> data,
                                    std::shared_ptr<NSURLResponse> response, std::optional<NSError> error) {
  const auto completion = std::make_shared<Completion>();
  State before;
  {
    MutexLock lock(mutex_);
    if (state_ == State::completed) return;
    before = std::exchange(state_, State::completed);
    *completion = std::exchange(completion_, nullptr);
  }
  if (!*completion) return;
  try {
    queue_->async(
        [completion, data = std::move(data), response = std::move(response), error = std::move(error)] {
          // What the completion holds goes with it, on this queue.
          callGuarded("data task", std::exchange(*completion, nullptr), data, response, error);
        });
  } catch (...) {
    MutexLock lock(mutex_);
    state_ = before;
    completion_ = std::move(*completion);
    throw;
  }
}

}  // namespace platform
