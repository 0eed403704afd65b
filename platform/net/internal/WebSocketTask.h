#pragma once

#include <memory>

#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/net/NSURLSessionWebSocketTask.h"

namespace platform {

class DispatchQueue;

// What NSURLSession::webSocketTask hands out: a suspended task whose completions run on `queue`. Never null.
std::shared_ptr<NSURLSessionWebSocketTask> makeWebSocketTask(
    NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
    std::shared_ptr<DispatchQueue> queue);

}  // namespace platform
