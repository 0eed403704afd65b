#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <string>

// A port of the loopback on which nobody listens, or where nobody takes connections any more.
class DeadPort {
 public:
  enum class Kind { refuses, neverAnswers };
  explicit DeadPort(Kind kind) {
    using boost::asio::ip::tcp;
    listener_.open(tcp::v4());
    listener_.bind({boost::asio::ip::address_v4::loopback(), 0});
    if (kind == Kind::refuses) return;
    // One waiting connection fills the queue; the kernel leaves the next one without an answer.
    listener_.listen(0);
    visitor_.connect(listener_.local_endpoint());
  }

  std::string url(const std::string& scheme, const std::string& host = "127.0.0.1") const {
    return scheme + "://" + host + ":" + std::to_string(listener_.local_endpoint().port()) + "/";
  }

 private:
  boost::asio::io_context context_;
  boost::asio::ip::tcp::acceptor listener_{context_};
  boost::asio::ip::tcp::socket visitor_{context_};
};
