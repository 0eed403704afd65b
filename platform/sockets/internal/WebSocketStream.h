#pragma once

#include <boost/beast/websocket/stream.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionWebSocketTask.h"
#include "platform/sockets/internal/WebSocketTransport.h"

namespace platform {

// A connected transport as a WebSocket: the upgrade, and whole messages in both directions. Of the thread of
// all WebSockets alone. It must live until a completion that it was given is gone.
class WebSocketStream {
 public:
  using Error = boost::system::error_code;
  using Completion = std::function<void(Error)>;
  using Answer = std::function<void(std::shared_ptr<NSHTTPURLResponse>)>;

  explicit WebSocketStream(boost::asio::io_context& context) : stream_(context) {}

  WebSocketTransport& transport() { return stream_.next_layer(); }

  // Once, when the transport is connected; the request must live until the completion is called. `answer`
  // hears the head of the server's answer as soon as it has come, `closed` that the server's close frame has,
  // in any later read.
  void upgrade(const NSURLRequest& request, Answer answer, std::function<void()> closed,
               Completion completion);

  // One read and one write at a time. takeMessage() hands out what was read, once; what is written must live
  // until the completion is called.
  void read(Completion completion);
  NSURLSessionWebSocketMessage takeMessage();
  void write(const NSURLSessionWebSocketMessage& message, Completion completion);

  // Of the server's close frame.
  NSURLSessionWebSocketTask::CloseCode closeCode() const;
  std::string closeReason() const;

  // The end: by agreement with the server, or at once. What is being read is not read to its end.
  void sayGoodbye(Completion completion);
  void closeSocket();

  // The error of NSURLErrorDomain that one of an upgrade, or of an open socket, is for the host.
  static int codeOf(Error error);

 private:
  void hearAnswer(std::string_view bytes, const NSURL& url, const Answer& answer);
  void dropMessage();

  boost::beast::websocket::stream<WebSocketTransport, false> stream_;
  // Of the answer until its end has come.
  std::string answerHead_;
  bool isAnswered_ = false;
  bool isClosing_ = false;
  // A message that is being read: so many bytes of `incoming_` have come.
  std::string incoming_;
  std::size_t received_ = 0;
};

}  // namespace platform
