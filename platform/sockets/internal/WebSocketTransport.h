#pragma once

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/role.hpp>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace platform {

// What a WebSocket stands on: TCP, and TLS over it once useTLS() has been called. One type for both, so that
// everything above is compiled once.
class WebSocketTransport {
 public:
  using next_layer_type =
      boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
  using executor_type = next_layer_type::executor_type;
  using TLS = boost::asio::ssl::stream<next_layer_type&>;
  using Listener = std::function<void(std::string_view bytes)>;

  explicit WebSocketTransport(boost::asio::io_context& context) : socket_(context) {}

  executor_type get_executor() { return socket_.get_executor(); }
  next_layer_type& next_layer() { return socket_; }
  const next_layer_type& next_layer() const { return socket_; }
  TLS& useTLS(boost::asio::ssl::context& context) { return tls_.emplace(socket_, context); }
  TLS& tls() { return *tls_; }

  // Hears what is read before its reader does; null ends it.
  void setListener(Listener listener) { listener_ = std::move(listener); }

  template <class Buffers, class Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    if (!listener_) return readSome(buffers, std::forward<Handler>(handler));
    readSome(buffers, [this, buffers, handler = std::forward<Handler>(handler)](
                          boost::system::error_code error, std::size_t count) mutable {
      hear(buffers, count);
      handler(error, count);
    });
  }

  template <class Buffers, class Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) return tls_->async_write_some(buffers, std::forward<Handler>(handler));
    socket_.async_write_some(buffers, std::forward<Handler>(handler));
  }

 private:
  template <class Buffers, class Handler>
  void readSome(const Buffers& buffers, Handler&& handler) {
    if (tls_) return tls_->async_read_some(buffers, std::forward<Handler>(handler));
    socket_.async_read_some(buffers, std::forward<Handler>(handler));
  }

  template <class Buffers>
  void hear(const Buffers& buffers, std::size_t count) {
    for (auto at = boost::asio::buffer_sequence_begin(buffers);
         at != boost::asio::buffer_sequence_end(buffers); ++at) {
      const boost::asio::mutable_buffer buffer = *at;
      const std::string_view bytes(static_cast<const char*>(buffer.data()), std::min(count, buffer.size()));
      count -= bytes.size();
      if (listener_ && !bytes.empty()) listener_(bytes);
    }
  }

  next_layer_type socket_;
  std::optional<TLS> tls_;
  Listener listener_;
};

// What Beast calls after a close handshake. The socket is closed by the task; nothing waits for the other
// side.
template <class Handler>
void async_teardown(boost::beast::role_type, WebSocketTransport& transport, Handler&& handler) {
  boost::asio::post(transport.get_executor(), boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                                                               boost::system::error_code()));
}

}  // namespace platform
