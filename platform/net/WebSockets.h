#pragma once

#include <memory>

#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/net/NSURLSessionWebSocketTask.h"

namespace platform {

class DispatchQueue;

// What makes the tasks that NSURLSession::webSocketTask hands out: platform/sockets, loaded by the first of
// them.
class WebSockets {
 public:
  virtual ~WebSockets() = default;

  // Null where there is none. Any thread.
  static WebSockets* available();

  // A suspended task whose completions run on `queue`. Null, and a line of log, while the process lacks
  // descriptors or threads for its first one.
  virtual std::shared_ptr<NSURLSessionWebSocketTask> makeTask(
      NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
      std::shared_ptr<DispatchQueue> queue) = 0;
};

}  // namespace platform
