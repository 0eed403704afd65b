#include <utility>

#include "platform/net/WebSockets.h"
#include "platform/runtime/Export.h"
#include "platform/sockets/internal/WebSocketTask.h"

namespace platform {

namespace {

class BeastWebSockets : public WebSockets {
 public:
  std::shared_ptr<NSURLSessionWebSocketTask> makeTask(
      NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
      std::shared_ptr<DispatchQueue> queue) override {
    return makeWebSocketTask(std::move(request), std::move(configuration), std::move(queue));
  }
};

}  // namespace

}  // namespace platform

extern "C" PLATFORM_EXPORT platform::WebSockets* PLATFORM_ENTRY(platformWebSockets)() {
  static platform::WebSockets& sockets = *new platform::BeastWebSockets;
  return &sockets;
}
