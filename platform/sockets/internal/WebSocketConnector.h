#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/foundation/NSURL.h"
#include "platform/sockets/internal/WebSocketThread.h"
#include "platform/sockets/internal/WebSocketTransport.h"

namespace platform {

// The way to the server of a URL: the look-up of its name, TCP to one address after the other, and TLS for
// wss. Of the thread of all WebSockets alone. Its owner must live until a completion it was given is gone.
class WebSocketConnector {
 public:
  // An NSURLError code and what the system says of it; 0 when the transport is connected.
  using Completion = std::function<void(int code, const std::string& detail)>;

  // `url`, ws or wss with a host, and `transport` outlive it. `certificateAuthorityFile` may be empty: the
  // system's certificates are trusted then.
  WebSocketConnector(const NSURL& url, std::string certificateAuthorityFile, WebSocketTransport& transport);

  // Once. The completion is not called after cancel().
  void connect(Completion completion);
  void cancel();

 private:
  using Endpoint = boost::asio::ip::tcp::endpoint;

  void resolve(Completion completion);
  void connect(std::vector<Endpoint> endpoints, std::size_t at, Completion completion);
  void secure(Completion completion);

  const NSURL& url_;
  const std::string certificateAuthorityFile_;
  WebSocketTransport& transport_;
  boost::asio::ip::tcp::resolver resolver_{WebSocketThread::shared().context()};
  bool isCancelled_ = false;
};

}  // namespace platform
