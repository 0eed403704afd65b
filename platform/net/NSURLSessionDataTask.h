#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/foundation/NSError.h"
#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLResponse.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/net/NSURLSessionTask.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/Passkey.h"

namespace platform {

class DispatchQueue;
class HTTPTransfer;

// One exchange with a server, made by NSURLSession::dataTask. While it runs it is kept alive by the process's
// transfer thread, so that its maker may drop it; dropped before resume() it is gone without a completion.
//
// The completion is called once, on the session's queue: with the body and the response, or with an error
// (and the response, if its head had come). What it throws ends there.
class NSURLSessionDataTask : public NSURLSessionTask,
                             public std::enable_shared_from_this<NSURLSessionDataTask> {
 public:
  using Completion =
      std::function<void(std::shared_ptr<const std::string> data, std::shared_ptr<NSURLResponse> response,
                         std::optional<NSError> error)>;

  NSURLSessionDataTask(NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
                       std::shared_ptr<DispatchQueue> queue, Completion completion);

  // See NSURLSession::setObserver.
  static inline std::atomic<void (*)(const NSURLRequest&)> observer = nullptr;

  void resume() override;
  void cancel() override;
  State state() const override;

  const NSURLRequest& originalRequest() const { return request_; }
  const NSURLSessionConfiguration& configuration() const { return *configuration_; }

  // Ends the task and calls the completion on the session's queue. Should the queue throw, which is handed
  // on, the task has not ended.
  void complete(Passkey<HTTPTransfer>, std::shared_ptr<const std::string> data,
                std::shared_ptr<NSURLResponse> response, std::optional<NSError> error) {
    complete(std::move(data), std::move(response), std::move(error));
  }

 private:
  void complete(std::shared_ptr<const std::string> data, std::shared_ptr<NSURLResponse> response,
                std::optional<NSError> error);

  const NSURLRequest request_;
  const std::shared_ptr<const NSURLSessionConfiguration> configuration_;
  const std::shared_ptr<DispatchQueue> queue_;

  mutable Mutex mutex_;
  State state_ PLATFORM_GUARDED_BY(mutex_) = State::suspended;
  Completion completion_ PLATFORM_GUARDED_BY(mutex_);
};

}  // namespace platform
