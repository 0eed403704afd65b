#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

// A port of the loopback on which nobody listens, or where nobody takes connections any more.
class DeadPort {
 public:
  enum class Kind { refuses, neverAnswers };
  explicit DeadPort(Kind kind)
      : listener_(socket(AF_INET, SOCK_STREAM, 0)), visitor_(socket(AF_INET, SOCK_STREAM, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address_), size), 0);
    EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address_), &size), 0);
    if (kind == Kind::refuses) return;
    // One waiting connection fills the queue; the kernel leaves the next one without an answer.
    EXPECT_EQ(listen(listener_, 0), 0);
    EXPECT_EQ(connect(visitor_, reinterpret_cast<sockaddr*>(&address_), size), 0);
  }
  ~DeadPort() {
    close(visitor_);
    close(listener_);
  }
  DeadPort(const DeadPort&) = delete;
  DeadPort& operator=(const DeadPort&) = delete;

  std::string url(const std::string& scheme, const std::string& host = "127.0.0.1") const {
    return scheme + "://" + host + ":" + std::to_string(ntohs(address_.sin_port)) + "/";
  }

 private:
  int listener_;
  int visitor_;
  sockaddr_in address_{};
};
