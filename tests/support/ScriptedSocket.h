#pragma once

#include <Kova/KovaURLSessionProtocol.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NSURLRequest.h"

// A WebSocket without a network: a test says what the server does and reads what the app sent. Completions
// run on a queue of the scheduler in force, as those of the real task do on the session's. One thread, under
// the simulated scheduler.
class ScriptedSocket : public platform::NSURLSessionWebSocketTask {
 public:
  using Message = platform::NSURLSessionWebSocketMessage;
  // What sending comes to: done at once, an error, or nothing as long as nobody reads.
  enum class Sending { Works, Fails, Stalls };

  explicit ScriptedSocket(platform::NSURLRequest request) : request_(std::move(request)) {}

  const platform::NSURLRequest& request() const { return request_; }
  // The frames that the app sent since this was asked last.
  std::vector<std::string> takeSent() { return std::exchange(sent_, {}); }
  bool isCancelled() const { return state_ == State::canceling; }
  // How many receives wait; a healthy session has one.
  std::size_t receivesOutstanding() const { return receives_.size(); }
  void setSending(Sending sending) { sending_ = sending; }

  // The server's part. What it says before it is asked waits.
  void says(std::string text) { arrives(Message::withString(std::move(text))); }
  void saysBytes(std::string bytes) { arrives(Message::withData(std::move(bytes))); }
  // The engine's handshake and the way into the namespace.
  void letsIn() {
    answers(101);
    says(R"(0{"sid":"Abc-1_2","upgrades":[],"pingInterval":25000,"pingTimeout":20000})");
    says(R"(40/ios,{"sid":"x"})");
  }
  void refuses(int status) {
    answers(status);
    fails(platform::NSURLErrorBadServerResponse);
  }
  void fails(int code = platform::NSURLErrorNetworkConnectionLost) {
    if (!end_) end_ = error(code);
    deliver();
  }
  void closes(CloseCode code, std::string reason) {
    closeCode_ = code;
    closeReason_ = std::move(reason);
    fails();
  }
  // What stalled has been read.
  void completesSends() {
    for (SendCompletion& completion : std::exchange(stalled_, {})) complete(std::move(completion), end_);
  }

  void resume() override { state_ = State::running; }
  void cancel() override {
    if (isCancelled()) return;
    state_ = State::canceling;
    end_ = error(platform::NSURLErrorCancelled);
    messages_.clear();
    completesSends();
    deliver();
  }
  State state() const override { return state_; }
  void receiveMessage(ReceiveCompletion completion) override {
    receives_.push_back(std::move(completion));
    deliver();
  }
  void sendMessage(Message message, SendCompletion completion) override {
    if (end_) return complete(std::move(completion), end_);
    if (sending_ == Sending::Fails) {
      return complete(std::move(completion), error(platform::NSURLErrorNetworkConnectionLost));
    }
    sent_.push_back(message.bytes());
    if (sending_ == Sending::Works) return complete(std::move(completion), {});
    stalled_.push_back(std::move(completion));
  }
  std::shared_ptr<platform::NSURLResponse> response() const override { return response_; }
  CloseCode closeCode() const override { return closeCode_; }
  std::optional<std::string> closeReason() const override { return closeReason_; }

 private:
  platform::NSError error(int code) const { return platform::makeURLError(code, request_.url()); }
  void answers(int status) {
    response_ = std::make_shared<platform::NSHTTPURLResponse>(request_.url(), status,
                                                              std::vector<platform::HTTPHeaderField>());
  }
  void arrives(Message message) {
    messages_.push_back(std::move(message));
    deliver();
  }
  void complete(SendCompletion completion, std::optional<platform::NSError> error) {
    queue_->async([completion = std::move(completion), error = std::move(error)] { completion(error); });
  }
  // Messages first, in order; then the end, to whoever still asks.
  void deliver() {
    while (!receives_.empty() && (!messages_.empty() || end_)) {
      std::optional<Message> message;
      if (!messages_.empty()) {
        message = std::move(messages_.front());
        messages_.pop_front();
      }
      queue_->async([completion = std::move(receives_.front()), message,
                     error = message ? std::nullopt : end_] { completion(message, error); });
      receives_.pop_front();
    }
  }

  const platform::NSURLRequest request_;
  const std::shared_ptr<platform::DispatchQueue> queue_ =
      platform::Scheduler::current().makeSerialQueue("scripted socket", platform::QualityOfService::Default);
  State state_ = State::suspended;
  Sending sending_ = Sending::Works;
  std::vector<std::string> sent_;
  std::vector<SendCompletion> stalled_;
  std::deque<Message> messages_;
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
      const platform::NSURLRequest& request) override {
    if (isOutOfSockets) return nullptr;
    sockets.push_back(std::make_shared<ScriptedSocket>(request));
    onConnect(*sockets.back());
    return sockets.back();
  }

 private:
  const std::shared_ptr<KOVAURLSessionProtocol> others_;
};
