#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"
#include "platform/net/NSURLResponse.h"
#include "platform/net/NSURLSessionTask.h"
#include "platform/net/NSURLSessionWebSocketMessage.h"

namespace platform {

// One WebSocket, made by NSURLSession::webSocketTask for a URL of scheme ws or wss. resume() connects and
// upgrades; what is sent or asked for meanwhile waits. All functions may be called from any thread and return
// at once.
//
// Each completion is called exactly once, on the session's queue, never on the main thread and never within
// the call that it was given to; what it throws ends there. cancel(), and every end of the connection,
// completes what is outstanding with an error. After cancel() has returned no completion reports anything but
// NSURLErrorCancelled; those that had been queued before may still run.
//
// While it runs it is kept alive by the session's network thread, so that its maker may drop it; dropped
// without a completion outstanding it closes.
class NSURLSessionWebSocketTask : public NSURLSessionTask {
 public:
  // Why a socket was closed, as WebSocket numbers it; Invalid as long as it was not closed by a close frame.
  using CloseCode = int;
  static constexpr CloseCode kCloseCodeInvalid = 0;

  using ReceiveCompletion =
      std::function<void(std::optional<NSURLSessionWebSocketMessage> message, std::optional<NSError> error)>;
  using SendCompletion = std::function<void(std::optional<NSError> error)>;

  // A longer message ends the connection with NSURLErrorDataLengthExceedsMaximum.
  static constexpr std::size_t kMaximumMessageSize = 64 * 1024 * 1024;

  // Asks for the next message; one completion a message, in order.
  virtual void receiveMessage(ReceiveCompletion completion) = 0;
  // In order. Complete when the message has been handed to the system. A text that is not UTF-8 completes
  // with an error, and the socket stays open.
  virtual void sendMessage(NSURLSessionWebSocketMessage message, SendCompletion completion) = 0;

  // The answer to the upgrade, also when it was a refusal: an NSHTTPURLResponse. Null before there is one.
  virtual std::shared_ptr<NSURLResponse> response() const = 0;
  virtual CloseCode closeCode() const = 0;
  // What came with the close frame of the other side, perhaps empty; none as long as there was no such frame.
  virtual std::optional<std::string> closeReason() const = 0;
};

}  // namespace platform
