#include "src/visualizer/KovaWebSocketSession.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "src/core/KovaEndpoints.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KovaWebSocketConnectionDelegate.h"

using namespace platform;

namespace {

constexpr const char* kSocketReference = "socko/?EIO=4&transport=websocket";
constexpr double kConnectTimeout = 10.0;   // seconds
constexpr double kHeartbeatAllowance = 7;  // seconds that a ping may be late
constexpr double kLongestFarewell = 5;     // seconds that the last message, and what is before it, may take
constexpr std::size_t kLongestHandshake = 64u << 10;
// What a message that waits costs besides its bytes.
constexpr std::size_t kMessageOverhead = 256;
constexpr int kStatusOK = 200;
constexpr int kUnprocessable = 422;

constexpr const char* kNamespaceConnect = "40/ios,";
constexpr const char* kPong = "3";

NSError invalidHandshakeError() {
  return NSError(kova::defaultEventVisualizerEndpoint().host().value_or(""), kUnprocessable,
                 {{"Reason", "Invalid Data Returned by Server"}});
}

// What follows `prefix`, the namespace and a comma; none for a frame of another namespace.
std::optional<std::string_view> payload(std::string_view frame, std::string_view prefix,
                                        std::string_view endpoint) {
  if (!frame.starts_with(prefix)) return std::nullopt;
  frame.remove_prefix(prefix.size());
  if (!frame.starts_with(endpoint)) return std::nullopt;
  frame.remove_prefix(endpoint.size());
  if (!frame.starts_with(",")) return std::nullopt;
  return frame.substr(1);
}

// A positive number of milliseconds, in seconds.
std::optional<double> interval(const Dictionary& response, std::string_view key) {
  const Value* number = response.find(key);
  if (!number || !number->isNumber()) return std::nullopt;
  const double seconds = number->doubleValue() / 1000.0;
  return seconds > 0 ? std::optional(seconds) : std::nullopt;
}

}  // namespace

KovaWebSocketSession::KovaWebSocketSession(NSURL baseURL, Headers headers, std::string wsNamespace,
                                           std::shared_ptr<KISerialStateQueue> delegateQueue)
    : baseURL_(std::move(baseURL)),
      headers_(std::move(headers)),
      endpoint_(std::move(wsNamespace)),
      delegateQueue_(std::move(delegateQueue)) {}

KovaWebSocketSession::~KovaWebSocketSession() {
  kova::guarded(
      {*this, "dealloc"},
      [this] {
        kova::mutationQueue.isHere();  // nobody else is
        if (heartbeatTimer_) heartbeatTimer_->cancel();
        if (socketTask_ && !disconnectsAfterSending_) socketTask_->cancel();
      },
      kova::OnException::Bail, kova::WhenBailed::RunAnyway);
}

std::weak_ptr<KovaWebSocketSession> KovaWebSocketSession::weak() { return retained(*this); }

template <class... Facts, class... Given>
void KovaWebSocketSession::tellDelegate(void (KovaWebSocketConnectionDelegate::*event)(KovaWebSocketSession&,
                                                                                       Facts...),
                                        const Given&... facts) {
  if (const auto told = delegate()) ((*told).*event)(*this, facts...);
}

// --- Connecting

std::optional<NSURL> KovaWebSocketSession::socketURL(const NSURL& baseURL) {
  const auto resolved = NSURL::create(kSocketReference, baseURL);
  if (!resolved) return std::nullopt;
  std::string_view afterScheme = resolved->absoluteString();
  if (resolved->scheme()) afterScheme.remove_prefix(resolved->scheme()->size() + 1);
  // As it was written, and not in the lower case that resolving gives it: "HTTP" is not exactly "http".
  const std::string scheme = baseURL.absoluteString().starts_with("http:") ? "ws:" : "wss:";
  return NSURL::create(scheme + std::string(afterScheme));
}

void KovaWebSocketSession::connectWithURLSession(KOVAURLSessionProtocol& urlSession) {
  const auto fail = [this](int code) KOVA_ON_MUTATION_QUEUE {
    tellDelegate(&Delegate::handshakeFailedWithError, makeURLError(code, baseURL_));
  };
  const auto url = socketURL(baseURL_);
  if (!url) return fail(NSURLErrorBadURL);
  NSURLRequest request(*url, NSURLRequestCachePolicy::reloadIgnoringLocalCacheData, kConnectTimeout);
  for (const auto& [name, value] : headers_) request.setValue(value, name);
  socketTask_ = urlSession.webSocketTask(request);
  if (!socketTask_) return fail(NSURLErrorCannotConnectToHost);
  socketTask_->resume();
  listen(Message::First);
}

void KovaWebSocketSession::disconnect() {
  if (heartbeatTimer_) heartbeatTimer_->cancel();
  if (socketTask_ && !disconnectsAfterSending_) socketTask_->cancel();
}

// --- Listening

void KovaWebSocketSession::listen(Message which) {
  if (!socketTask_) return;
  socketTask_->receiveMessage([session = weak(), queue = delegateQueue_, which](auto message, auto error) {
    KOVA_addSafeOperationWithBlock(*queue,
                                   [session, message = std::move(message), error = std::move(error), which] {
                                     kova::mutationQueue.isHere();
                                     if (const auto self = session.lock())
                                       self->received(message, error, which);
                                   },
                                   {"KovaWebSocketSession", "listen:"});
  });
}

void KovaWebSocketSession::received(const std::optional<NSURLSessionWebSocketMessage>& message,
                                    const std::optional<NSError>& error, Message which) {
  if (error) return handleListenError(*error, which);
  if (message && message->type() == NSURLSessionWebSocketMessage::Type::string) {
    handleMessageString(message->bytes());
  }
  listen(Message::Later);
}

void KovaWebSocketSession::handleListenError(const NSError& error, Message which) {
  if (which == Message::First) {
    const auto response = std::dynamic_pointer_cast<NSHTTPURLResponse>(socketTask_->response());
    if (!response || response->statusCode() == kStatusOK) {
      return tellDelegate(&Delegate::handshakeFailedWithError, error);
    }
    return tellDelegate(&Delegate::handshakeFailedWithStatusCode, response->statusCode());
  }
  if (const auto reason = socketTask_->closeReason()) {
    return tellDelegate(&Delegate::didCloseWithCode, socketTask_->closeCode(), *reason);
  }
  tellDelegate(&Delegate::didStopListeningWithError, error);
}

// The order of the tests is that of the prefixes: "40" and "42" of another namespace are no other frame's.
void KovaWebSocketSession::handleMessageString(std::string_view frame) {
  if (frame.starts_with("0")) return handleHandshake(frame);
  if (payload(frame, "40", endpoint_)) {
    return tellDelegate(&Delegate::webSocketConnectionDidConnect);
  }
  if (frame.starts_with("2")) return handlePing();
  if (const auto message = payload(frame, "42", endpoint_)) {
    return tellDelegate(&Delegate::didReceiveMessage, *message);
  }
  if (frame.starts_with("1")) {
    tellDelegate(&Delegate::webSocketConnectionServerRequestedDisconnect);
  }
}

// --- Handshake

void KovaWebSocketSession::handleHandshake(std::string_view frame) {
  if (configureWithHandshakeResponse(frame)) return sendRawMessage(kNamespaceConnect, AfterSending::Stay);
  tellDelegate(&Delegate::handshakeFailedWithError, invalidHandshakeError());
  disconnect();
}

bool KovaWebSocketSession::configureWithHandshakeResponse(std::string_view frame) {
  auto handshake = parseHandshakeResponse(frame);
  if (!handshake) return false;
  sid_ = std::move(handshake->sid);
  heartbeatTimeout_ = handshake->heartbeatTimeout;
  return true;
}

std::optional<KovaWebSocketSession::Handshake> KovaWebSocketSession::parseHandshakeResponse(
    std::string_view frame) {
  if (!frame.starts_with("0") || frame.size() > kLongestHandshake) return std::nullopt;
  const auto json = NSJSONSerialization::JSONObjectWithData(frame.substr(1));
  if (!json || !json->isDictionary()) return std::nullopt;
  const Dictionary& response = json->dictionary();
  const Value* sid = response.find("sid");
  if (!sid || !sid->isString() || !isSIDValid(sid->text())) return std::nullopt;
  const auto pingInterval = interval(response, "pingInterval");
  if (!pingInterval) return std::nullopt;
  const auto pingTimeout = interval(response, "pingTimeout");
  if (!pingTimeout) return std::nullopt;
  return Handshake{std::string(sid->text()), std::max(*pingTimeout, *pingInterval + kHeartbeatAllowance)};
}

bool KovaWebSocketSession::isSIDValid(std::string_view sid) {
  constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890-_";
  return !sid.empty() && sid.find_first_not_of(kAllowed) == std::string_view::npos;
}

// --- Heartbeat

// Armed by the first ping, not by the handshake: a server that never pings is never missed.
void KovaWebSocketSession::handlePing() {
  KovaLogVerbose("ﮩ٨ـﮩﮩ٨ـ♡ﮩ٨ـﮩﮩ٨ـ");
  setTimeout();
  sendRawMessage(kPong, AfterSending::Stay);
}

void KovaWebSocketSession::setTimeout() {
  if (heartbeatTimeout_ == 0) return;
  if (heartbeatTimer_) heartbeatTimer_->cancel();
  heartbeatTimer_ =
      kova::performAfter(heartbeatTimeout_, *delegateQueue_, *this, [](KovaWebSocketSession& session) {
        // By then another session may have taken the place of this one, and must not hear of it.
        KOVA_addSafeOperationWithBlock(*session.delegateQueue_,
                                       [weak = session.weak()] {
                                         kova::mutationQueue.isHere();
                                         if (const auto self = weak.lock())
                                           self->tellDelegate(&Delegate::webSocketConnectionMissedHeartbeat);
                                       },
                                       {"KovaWebSocketSession", "setTimeout"});
      });
}

// --- Sending

void KovaWebSocketSession::sendText(std::string_view text, AfterSending afterSending) {
  std::string frame;
  frame.reserve(3 + endpoint_.size() + text.size());
  frame.append("42").append(endpoint_).append(",").append(text);
  sendRawMessage(std::move(frame), afterSending);
}

void KovaWebSocketSession::sendRawMessage(std::string text, AfterSending afterSending) {
  sendMessage(NSURLSessionWebSocketMessage::withString(std::move(text)), afterSending);
}

void KovaWebSocketSession::sendMessage(NSURLSessionWebSocketMessage message, AfterSending afterSending) {
  if (!socketTask_) return;
  const std::size_t size = message.bytes().size() + kMessageOverhead;
  if (size > kMaximumUnsentBytes - unsentBytes_) {
    return sent(NSError(std::string(NSPOSIXErrorDomain), ENOBUFS), 0, afterSending);
  }
  unsentBytes_ += size;
  // The last message outlives the session, which may be let go as soon as it is on its way; but not for long.
  const auto closing = afterSending == AfterSending::Disconnect ? socketTask_ : nullptr;
  if (closing) {
    disconnectsAfterSending_ = true;
    KovaTimer::scheduleSafeOperationWithBlock([closing] { closing->cancel(); }, kLongestFarewell,
                                              delegateQueue_);
  }
  socketTask_->sendMessage(std::move(message), [session = weak(), queue = delegateQueue_, size, afterSending,
                                                closing](auto error) {
    KOVA_addSafeOperationWithBlock(*queue,
                                   [session, error = std::move(error), size, afterSending, closing] {
                                     kova::mutationQueue.isHere();
                                     if (const auto self = session.lock())
                                       return self->sent(error, size, afterSending);
                                     if (closing) closing->cancel();
                                   },
                                   {"KovaWebSocketSession", "sendMessage:disconnectAfterSending:"});
  });
}

void KovaWebSocketSession::sent(const std::optional<NSError>& error, std::size_t size,
                                AfterSending afterSending) {
  unsentBytes_ -= size;
  if (error) tellDelegate(&Delegate::failedToSendWithError, *error);
  if (afterSending == AfterSending::Stay) return;
  disconnectsAfterSending_ = false;
  disconnect();
}
