#pragma once

#include <memory>

#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/net/NSURLSessionWebSocketTask.h"

namespace platform {

class DispatchQueue;

// What WebSockets::makeTask hands out: a suspended task whose completions run on `queue`. Null,
// and a line of log, while the process lacks descriptors or threads for its first one.
std::shared_ptr<NSURLSessionWebSocketTask> makeWebSocketTask(
    NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
    std::shared_ptr<DispatchQueue> queue);

}  // namespace platform
