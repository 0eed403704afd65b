#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KovaWebSocketConnectionDelegate.h"

// Writes down what a session tells it.
class RecordingDelegate : public KovaWebSocketConnectionDelegate {
 public:
  std::vector<std::string> take() { return std::exchange(told_, {}); }

  void webSocketConnectionDidConnect(KovaWebSocketSession&) override { tell("connected"); }
  void didReceiveMessage(KovaWebSocketSession&, std::string_view message) override {
    tell("message " + std::string(message));
  }
  void handshakeFailedWithStatusCode(KovaWebSocketSession&, long code) override {
    tell("refused with " + std::to_string(code));
  }
  void handshakeFailedWithError(KovaWebSocketSession&, const platform::NSError& error) override {
    tell("no handshake: " + text(error));
  }
  void didCloseWithCode(KovaWebSocketSession&, long code, const std::string& reason) override {
    tell("closed with " + std::to_string(code) + " " + reason);
  }
  void didStopListeningWithError(KovaWebSocketSession&, const platform::NSError& error) override {
    tell("stopped: " + text(error));
  }
  void failedToSendWithError(KovaWebSocketSession&, const platform::NSError& error) override {
    tell("not sent: " + text(error));
  }
  void webSocketConnectionMissedHeartbeat(KovaWebSocketSession&) override { tell("missed heartbeat"); }
  void webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession&) override { tell("sent away"); }

 private:
  static std::string text(const platform::NSError& error) {
    return error.domain() + " " + std::to_string(error.code());
  }
  void tell(std::string what) {
    EXPECT_TRUE(KOVA_serialStateQueue()->isCurrent());
    told_.push_back(std::move(what));
  }
  std::vector<std::string> told_;
};
