#include "tests/support/ScriptedSocket.h"

#include "platform/dispatch/Scheduler.h"
#include "platform/net/NSHTTPURLResponse.h"

using namespace platform;

namespace {

constexpr const char* kHandshake =
    R"(0{"sid":"Abc-1_2","upgrades":[],"pingInterval":25000,"pingTimeout":20000})";

std::shared_ptr<NSURLResponse> httpResponse(const NSURLRequest& request, int status) {
  return std::make_shared<NSHTTPURLResponse>(request.url(), status, std::vector<HTTPHeaderField>());
}

}  // namespace

ScriptedSocket::ScriptedSocket(NSURLRequest request)
    : request_(std::move(request)),
      queue_(Scheduler::current().makeSerialQueue("scripted socket", QualityOfService::Default)) {}

void ScriptedSocket::resume() { state_ = State::running; }

void ScriptedSocket::cancel() {
  if (state_ == State::canceling) return;
  state_ = State::canceling;
  end_ = makeURLError(NSURLErrorCancelled, request_.url());
  messages_.clear();
  completesSends();
  deliver();
}

void ScriptedSocket::completesSends() {
  for (const auto& completion : std::exchange(stalled_, {})) {
    queue_->async([completion, error = end_] { completion(error); });
  }
}

void ScriptedSocket::says(std::string text) {
  messages_.push_back(NSURLSessionWebSocketMessage::withString(std::move(text)));
  deliver();
}

void ScriptedSocket::saysBytes(std::string bytes) {
  messages_.push_back(NSURLSessionWebSocketMessage::withData(std::move(bytes)));
  deliver();
}

void ScriptedSocket::letsIn() {
  response_ = httpResponse(request_, 101);
  says(kHandshake);
  says(R"(40/ios,{"sid":"x"})");
}

void ScriptedSocket::refuses(int status) {
  response_ = httpResponse(request_, status);
  fails(NSURLErrorBadServerResponse);
}

void ScriptedSocket::fails(int code) {
  if (!end_) end_ = makeURLError(code, request_.url());
  deliver();
}

void ScriptedSocket::closes(CloseCode code, std::string reason) {
  closeCode_ = code;
  closeReason_ = std::move(reason);
  fails();
}

void ScriptedSocket::receiveMessage(ReceiveCompletion completion) {
  receives_.push_back(std::move(completion));
  deliver();
}

// Messages first, in order; then the end, to whoever still asks.
void ScriptedSocket::deliver() {
  while (!receives_.empty() && (!messages_.empty() || end_)) {
    std::optional<NSURLSessionWebSocketMessage> message;
    if (!messages_.empty()) {
      message = std::move(messages_.front());
      messages_.pop_front();
    }
    queue_->async([completion = std::move(receives_.front()), message,
                   error = message ? std::nullopt : end_] { completion(message, error); });
    receives_.pop_front();
  }
}

void ScriptedSocket::sendMessage(NSURLSessionWebSocketMessage message, SendCompletion completion) {
  std::optional<NSError> error = end_;
  if (!error && sending_ == Sending::Fails) {
    error = makeURLError(NSURLErrorNetworkConnectionLost, request_.url());
  }
  if (!error) sent_.push_back(message.bytes());
  if (!error && sending_ == Sending::Stalls) {
    stalled_.push_back(std::move(completion));
    return;
  }
  queue_->async([completion = std::move(completion), error] { completion(error); });
}

std::shared_ptr<NSURLSessionWebSocketTask> ScriptedServer::webSocketTask(const NSURLRequest& request) {
  if (isOutOfSockets) return nullptr;
  sockets.push_back(std::make_shared<ScriptedSocket>(request));
  onConnect(*sockets.back());
  return sockets.back();
}
