// A host with sockets of its own, made with a Boost of another version than the library's: it opens a
// WebSocket through the platform while its own context is at work. Nobody listens there; to be told so is all
// that is wanted.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/version.hpp>
#include <future>
#include <iostream>

#include "platform/net/NSURLSession.h"
#include "platform/net/NSURLSessionWebSocketTask.h"

static_assert(BOOST_VERSION / 100 == 1074);

int main() {
  boost::asio::io_context context;
  using boost::asio::ip::tcp;
  tcp::socket socket(context);
  socket.open(tcp::v4());
  socket.bind(tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
  const std::string nobody = "ws://127.0.0.1:" + std::to_string(socket.local_endpoint().port()) + "/";

  platform::NSURLSession session(platform::NSURLSessionConfiguration::defaultConfiguration());
  const auto task = session.webSocketTask(platform::NSURLRequest(platform::NSURL::create(nobody).value()));
  std::promise<bool> failed;
  task->receiveMessage([&](const auto&, const auto& error) { failed.set_value(error.has_value()); });
  task->resume();
  socket.async_connect(socket.local_endpoint(), [](const boost::system::error_code&) {});
  context.run();
  if (failed.get_future().get()) return 0;
  std::cerr << "boost-consumer: a connection to nobody\n";
  return 1;
}
