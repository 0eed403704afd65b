#pragma once

#include <Kova/KovaURLSessionProtocol.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NSURLRequest.h"

// A WebSocket without a network: a test says what the server does and reads what the app sent. Completions
// run on a queue of the scheduler in force, as those of the real task do on the session's. One thread, under
// the simulated scheduler.
class ScriptedSocket : public platform::NSURLSessionWebSocketTask {
 public:
  // What sending comes to: done at once, an error, or nothing as long as nobody reads.
  enum class Sending { Works, Fails, Stalls };

  explicit ScriptedSocket(platform::NSURLRequest request);

  const platform::NSURLRequest& request() const { return request_; }
  // The frames that the app sent since this was asked last.
  std::vector<std::string> takeSent() { return std::exchange(sent_, {}); }
  bool isCancelled() const { return state_ == State::canceling; }
  // How many receives wait; a healthy session has one.
  std::size_t receivesOutstanding() const { return receives_.size(); }
  void setSending(Sending sending) { sending_ = sending; }

  // The server's part. What it says before it is asked waits.
  void says(std::string text);
  void saysBytes(std::string bytes);
  // The engine's handshake and the way into the namespace.
  void letsIn();
  void refuses(int status);
  void fails(int code = platform::NSURLErrorNetworkConnectionLost);
  void closes(CloseCode code, std::string reason);
  // What stalled has been read.
  void completesSends();

  void resume() override;
  void cancel() override;
  State state() const override { return state_; }
  void receiveMessage(ReceiveCompletion completion) override;
  void sendMessage(platform::NSURLSessionWebSocketMessage message, SendCompletion completion) override;
  std::shared_ptr<platform::NSURLResponse> response() const override { return response_; }
  CloseCode closeCode() const override { return closeCode_; }
  std::optional<std::string> closeReason() const override { return closeReason_; }

 private:
  void deliver();

  const platform::NSURLRequest request_;
  const std::shared_ptr<platform::DispatchQueue> queue_;
  State state_ = State::suspended;
  Sending sending_ = Sending::Works;
  std::vector<std::string> sent_;
  std::vector<SendCompletion> stalled_;
  std::deque<platform::NSURLSessionWebSocketMessage> messages_;
  std::deque<ReceiveCompletion> receives_;
  std::optional<platform::NSError> end_;
  std::shared_ptr<platform::NSURLResponse> response_;
  CloseCode closeCode_ = kCloseCodeInvalid;
  std::optional<std::string> closeReason_;
};

// The URL session that makes them. Everything else goes to the session that it is given, if any.
class ScriptedServer : public KOVAURLSessionProtocol {
 public:
  explicit ScriptedServer(std::shared_ptr<KOVAURLSessionProtocol> others = nullptr)
      : others_(std::move(others)) {}

  // Every socket that was made, and the latest.
  std::vector<std::shared_ptr<ScriptedSocket>> sockets;
  ScriptedSocket& socket() const { return *sockets.at(sockets.size() - 1); }
  // Whether sockets can be made at all.
  bool isOutOfSockets = false;
  // What happens to each socket as it connects.
  std::function<void(ScriptedSocket&)> onConnect = [](ScriptedSocket&) {};

  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                       Completion completion) override {
    return others_ ? others_->dataTask(url, std::move(completion)) : nullptr;
  }
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion completion) override {
    return others_ ? others_->dataTask(request, std::move(completion)) : nullptr;
  }
  std::shared_ptr<platform::NSURLSessionWebSocketTask> webSocketTask(
      const platform::NSURLRequest& request) override;

 private:
  const std::shared_ptr<KOVAURLSessionProtocol> others_;
};
