#include <utility>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaSharedURLSession.h"
#include "src/visualizer/KovaEventVisualizer.h"

using namespace platform;

namespace {

constexpr const char* kNamespace = "/ios";
constexpr double kConnectionAttemptInterval = 6.0;  // seconds
constexpr std::int64_t kConnectionAttemptLimit = 6;
constexpr double kDeviceAvailableInterval = 5.0;  // seconds
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;
// Every attempt to connect listens to the app's notifications once more, for good, so that one return to the
// foreground makes as many attempts as there were before. Without a limit each return would double them.
constexpr std::size_t kListenerLimit = 64;  // two an attempt

struct IncomingEvent {
  String name;
  Dictionary data;
};

// None for what is no array of a name and a dictionary.
std::optional<IncomingEvent> parseEvent(std::string_view message) {
  if (message.size() > KovaEventVisualizer::kLongestMessage) return std::nullopt;
  const auto json = NSJSONSerialization::JSONObjectWithData(message);
  if (!json || !json->isArray() || json->array().size() != 2) return std::nullopt;
  const Value& name = json->array()[0];
  const Value& data = json->array()[1];
  if (!name.isString() || !data.isDictionary()) return std::nullopt;
  return IncomingEvent{name.string(), data.dictionary()};
}

bool isPairCode(const Value& code) {
  return code.isString() && !code.text().empty() &&
         code.text().size() <= KovaEventVisualizer::kLongestPairCode;
}

}  // namespace

// --- Connecting

void KovaEventVisualizer::connect() {
  if (!baseUrl_) return;
  ++retryNumber_;
  kova::perform(*mutationQueue_, *this, "connectWebSocket",
                [](KovaEventVisualizer& self) KOVA_ON_MUTATION_QUEUE { self.connectWebSocket(); });
}

void KovaEventVisualizer::disconnect() {
  ++retryNumber_;
  kova::perform(*mutationQueue_, *this, "disconnectWebSocket",
                [](KovaEventVisualizer& self) KOVA_ON_MUTATION_QUEUE { self.disconnectWebSocket(); });
}

void KovaEventVisualizer::connectWebSocket() {
  if (pairing_ && !pairing_->isAnnouncing()) disconnectWebSocket();
  cancelRetryTimer();
  ++numberOfConnectionAttempts_;
  if (!question_) question_ = makeQuestion();
  KovaWebSocketSession::Headers headers{{"--x-kova-env-id", appId_}, {"--x-kova-app-version", appVersion_}};
  const auto session =
      std::make_shared<KovaWebSocketSession>(*baseUrl_, std::move(headers), kNamespace, mutationQueue_);
  session->setDelegate(retained(*this));
  pairing_ = std::make_shared<KIPairing>(session, KIPairing::Device{appId_, phoneModel_, deviceId_}, outbox_);
  const auto& testSession = options_->testOnlyUrlSession();
  session->connectWithURLSession(testSession ? *testSession : *KovaSharedURLSession::sharedSession());
  bindApplicationEventListeners();
}

void KovaEventVisualizer::disconnectWebSocket() {
  cancelRetryTimer();
  // Let go: a further call, as a second listener makes, must not cut off what the outbox still holds for it.
  if (const auto pairing = std::exchange(pairing_, nullptr)) pairing->end();
  publishPairing();
  resetDeviceId();
  // From here and not from the caller's thread: it must not overtake what an accepted request asked for.
  setIdleTimerDisabled(false);
  if (question_) question_->takeBack();
}

void KovaEventVisualizer::bindApplicationEventListeners() {
  if (listeners_.size() >= kListenerLimit) return;
  const auto listen = [this](std::string_view notification,
                             void (KovaEventVisualizer::*action)()) KOVA_ON_MUTATION_QUEUE {
    listeners_.push_back(NSNotificationCenter::defaultCenter().addObserver(
        notification, [visualizer = std::weak_ptr(retained(*this)), action](const NSNotification&) {
          if (const auto self = visualizer.lock()) ((*self).*action)();
        }));
  };
  listen(UIApplicationDidEnterBackgroundNotification, &KovaEventVisualizer::applicationDidEnterBackground);
  listen(UIApplicationWillEnterForegroundNotification, &KovaEventVisualizer::applicationWillEnterForeground);
}

void KovaEventVisualizer::applicationDidEnterBackground() {
  kova::guarded({*this, "applicationDidEnterBackground:"}, [this] { disconnect(); });
}

void KovaEventVisualizer::applicationWillEnterForeground() {
  kova::guarded({*this, "applicationWillEnterForeground:"}, [this] {
    resetDeviceId();
    connect();
  });
}

// --- The next attempt

template <class Action>
void KovaEventVisualizer::scheduleRetry(double seconds, Action action) {
  cancelRetryTimer();
  retryTimer_ = kova::performAfter(seconds, *mutationQueue_, *this,
                                   [number = retryNumber_.load(), action](KovaEventVisualizer& self)
                                       KOVA_ON_MUTATION_QUEUE {
                                         if (self.retryNumber_ == number) action(self);
                                       });
}

void KovaEventVisualizer::cancelRetryTimer() {
  ++retryNumber_;
  if (const auto timer = std::exchange(retryTimer_, nullptr)) timer->cancel();
}

void KovaEventVisualizer::scheduleWebSocketConnectionAttempt() {
  const double limit = options_->testOnlyEVReconnectAttemptLimit().value_or(kConnectionAttemptLimit);
  if (static_cast<double>(numberOfConnectionAttempts_) >= limit) return;
  scheduleRetry(options_->testOnlyEVReconnectAttemptInterval().value_or(kConnectionAttemptInterval),
                [](KovaEventVisualizer& self) KOVA_ON_MUTATION_QUEUE { self.connectWebSocket(); });
}

void KovaEventVisualizer::makeDeviceAvailable() {
  if (!pairing_ || !pairing_->makeDeviceAvailable()) return;
  scheduleRetry(kDeviceAvailableInterval,
                [](KovaEventVisualizer& self) KOVA_ON_MUTATION_QUEUE { self.makeDeviceAvailable(); });
}

// --- What the session tells

void KovaEventVisualizer::webSocketConnectionDidConnect(KovaWebSocketSession&) {
  numberOfConnectionAttempts_ = 0;
  KovaLogDebug("Connection established with Event Visualizer.");
  makeDeviceAvailable();
}

void KovaEventVisualizer::didReceiveMessage(KovaWebSocketSession&, std::string_view message) {
  // A String is always UTF-8, so that it differs from bytes that are not.
  if (message.size() <= kLongestMessage && String(message).view() != message) {
    return KovaLogDebug("Failed to decode event message data.");
  }
  const auto event = parseEvent(message);
  if (!event) return KovaLogDebug("Failed to deserialize JSON Object with data.");
  const Value* code = event->data.find("pairCode");
  if (event->name.view() != "web_requested_pair" || !code) return;
  if (!isPairCode(*code)) {
    return KovaLogDebug("Ignoring a pair request: its code is not a text of 1 to %lu bytes.",
                        kLongestPairCode);
  }
  cancelRetryTimer();
  pairWasRequestedWithPairCode(std::string(code->text()));
}

void KovaEventVisualizer::handshakeFailedWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Handshake Failed With Error: %@", error);
  disconnectWebSocket();
  scheduleWebSocketConnectionAttempt();
}

void KovaEventVisualizer::handshakeFailedWithStatusCode(KovaWebSocketSession&, long statusCode) {
  KovaLogDebug("WebSocketConnection - Handshake Failed With Status Code: %ld", statusCode);
  disconnectWebSocket();
  if (statusCode != kUnauthorized && statusCode != kForbidden) scheduleWebSocketConnectionAttempt();
}

void KovaEventVisualizer::failedToSendWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Failed To Send Message With Error: %@", error);
}

void KovaEventVisualizer::didStopListeningWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Did Stop Listening With Error: %@", error);
  disconnectWebSocket();
}

void KovaEventVisualizer::didCloseWithCode(KovaWebSocketSession&, long code, const std::string&) {
  KovaLogDebug("WebSocketConnection - Did Stop Listening With Code: %ld", code);
  disconnectWebSocket();
}

void KovaEventVisualizer::webSocketConnectionMissedHeartbeat(KovaWebSocketSession&) {
  KovaLogDebug("WebSocketConnection - Disconnected due to Heartbeat Timeout");
  disconnectWebSocket();
}

void KovaEventVisualizer::webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession&) {
  KovaLogDebug("WebSocketConnection - Disconnected at Server's Request");
  disconnectWebSocket();
}
