#include <utility>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIDevice.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaSharedURLSession.h"
#include "src/visualizer/KovaEventVisualizer.h"

using namespace platform;

namespace {

constexpr const char* kNamespace = "/ios";
constexpr double kConnectionAttemptInterval = 6.0;  // seconds
constexpr double kConnectionAttemptLimit = 6;
constexpr double kDeviceAvailableInterval = 5.0;  // seconds
constexpr std::int64_t kDeviceAvailableLimit = 12;
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;
// Every attempt to connect listens to the app's notifications once more, for good, so that one return to the
// foreground makes as many attempts as there were before. Without an end to that each return would double
// them.
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

std::shared_ptr<KovaEventVisualizer> KovaEventVisualizer::retained() {
  return std::static_pointer_cast<KovaEventVisualizer>(shared_from_this());
}

void KovaEventVisualizer::performOnMutationQueue(std::function<void(KovaEventVisualizer&)> block,
                                                 SEL selector) {
  KOVA_addSafeOperationWithBlock(
      *mutationQueue_, [self = retained(), block = std::move(block)] { block(*self); }, {isa(), selector});
}

// --- Connecting

void KovaEventVisualizer::connect() {
  if (!baseUrl_) return;
  isConnectionWanted_ = true;
  connectWebSocket();
}

void KovaEventVisualizer::disconnect() {
  isConnectionWanted_ = false;
  disconnectWebSocket();
}

void KovaEventVisualizer::connectWebSocket() {
  static const SEL selector("connectWebSocket");
  cancelRetryTimer();
  performOnMutationQueue([](KovaEventVisualizer& self) { self.openSocket(); }, selector);
}

void KovaEventVisualizer::openSocket() {
  if (!pairCode().empty()) closeSocket();  // a new connection has nobody's agreement
  cancelRetryTimer();                      // one that was scheduled after the caller cancelled
  ++numberOfConnectionAttempts_;
  Session::Headers headers{{"--x-kova-env-id", appId_}, {"--x-kova-app-version", appVersion_}};
  const auto socket = std::make_shared<Session>(*baseUrl_, std::move(headers), kNamespace, mutationQueue_);
  socket_ = socket;
  socket->setDelegate(retained());
  {
    const MutexLock lock(mutex_);
    openConnection_ = socket;
  }
  numberOfDeviceAvailableAttempts_ = 0;
  const auto& testSession = options_->testOnlyUrlSession();
  socket->connectWithURLSession(testSession ? *testSession : *KovaSharedURLSession::sharedSession());
  bindApplicationEventListeners();
}

void KovaEventVisualizer::bindApplicationEventListeners() {
  if (listeners_.size() >= kListenerLimit) return;
  const std::weak_ptr<KovaEventVisualizer> visualizer = retained();
  NSNotificationCenter& center = NSNotificationCenter::defaultCenter();
  listeners_.push_back(
      center.addObserver(UIApplicationDidEnterBackgroundNotification, [visualizer](const NSNotification&) {
        if (const auto self = visualizer.lock()) self->applicationDidEnterBackground();
      }));
  listeners_.push_back(
      center.addObserver(UIApplicationWillEnterForegroundNotification, [visualizer](const NSNotification&) {
        if (const auto self = visualizer.lock()) self->applicationWillEnterForeground();
      }));
}

void KovaEventVisualizer::applicationDidEnterBackground() {
  static const SEL selector("applicationDidEnterBackground:");
  kova::guarded({isa(), selector}, [this] { disconnect(); });
}

void KovaEventVisualizer::applicationWillEnterForeground() {
  static const SEL selector("applicationWillEnterForeground:");
  kova::guarded({isa(), selector}, [this] {
    resetDeviceId();
    connect();
  });
}

void KovaEventVisualizer::disconnectWebSocket() {
  static const SEL selector("disconnectWebSocket");
  cancelRetryTimer();
  performOnMutationQueue([](KovaEventVisualizer& self) { self.closeSocket(); }, selector);
}

void KovaEventVisualizer::closeSocket() {
  cancelRetryTimer();  // one that was scheduled after the caller cancelled
  // Let go: a further call, as a second listener makes, must not cut off what the outbox still holds for it.
  if (const auto socket = std::exchange(socket_, nullptr)) {
    socket->setDelegate({});  // what the session still has to say comes too late
    isPaired() ? sendDeviceDisconnect(socket) : socket->disconnect();
  }
  {
    const MutexLock lock(mutex_);
    pairCode_.clear();
    acceptedCode_.clear();
    openConnection_.reset();
  }
  resetDeviceId();
  isPaired_ = false;
  isCapturing_ = false;
  // From here and not from the caller's thread: it must not overtake what an accepted request asked for.
  setIdleTimerDisabled(false);
  takeBackQuestion();
}

// --- The next attempt

void KovaEventVisualizer::scheduleRetry(double seconds, std::function<void(KovaEventVisualizer&)> action) {
  cancelRetryTimer();
  std::uint64_t number;
  {
    const MutexLock lock(mutex_);
    number = retryNumber_;
  }
  const std::weak_ptr<KovaEventVisualizer> visualizer = retained();
  auto timer = KovaTimer::scheduleSafeOperationWithBlock(
      [visualizer, number, action = std::move(action)] {
        const auto self = visualizer.lock();
        if (self && self->isCurrentRetry(number)) action(*self);
      },
      seconds, mutationQueue_);
  const MutexLock lock(mutex_);
  if (number == retryNumber_) retryTimer_ = std::move(timer);
}

bool KovaEventVisualizer::isCurrentRetry(std::uint64_t number) const {
  const MutexLock lock(mutex_);
  return number == retryNumber_;
}

void KovaEventVisualizer::cancelRetryTimer() {
  std::shared_ptr<KovaTimer> timer;
  {
    const MutexLock lock(mutex_);
    ++retryNumber_;
    timer = std::exchange(retryTimer_, nullptr);
  }
  if (timer) timer->cancel();
}

bool KovaEventVisualizer::hasOpenConnection() const {
  const MutexLock lock(mutex_);
  return !openConnection_.expired();
}

void KovaEventVisualizer::scheduleWebSocketConnectionAttempt() {
  static const SEL selector("scheduleWebSocketConnectionAttempt");
  const double interval = options_->testOnlyEVReconnectAttemptInterval().value_or(kConnectionAttemptInterval);
  const double limit = options_->testOnlyEVReconnectAttemptLimit().value_or(kConnectionAttemptLimit);
  performOnMutationQueue(
      [interval, limit](KovaEventVisualizer& self) {
        if (!self.isConnectionWanted_ || self.hasOpenConnection()) return;
        if (static_cast<double>(self.numberOfConnectionAttempts_) >= limit) return self.disconnectWebSocket();
        // On the mutation queue already: a disconnect that is asked for from now on comes after it.
        self.scheduleRetry(interval, [](KovaEventVisualizer& visualizer) { visualizer.openSocket(); });
      },
      selector);
}

void KovaEventVisualizer::scheduleMakeDeviceAvailableAttempt() {
  static const SEL selector("scheduleMakeDeviceAvailableAttempt");
  performOnMutationQueue(
      [](KovaEventVisualizer& self) {
        if (!self.hasOpenConnection()) return;
        if (self.numberOfDeviceAvailableAttempts_ >= kDeviceAvailableLimit) return;
        if (!self.pairCode().empty()) return;
        self.scheduleRetry(kDeviceAvailableInterval, [](KovaEventVisualizer& visualizer) {
          if (!visualizer.socket_) return;
          visualizer.makeDeviceAvailable(*visualizer.socket_);
          visualizer.scheduleMakeDeviceAvailableAttempt();
        });
      },
      selector);
}

// --- What the session tells

void KovaEventVisualizer::webSocketConnectionDidConnect(KovaWebSocketSession& session) {
  numberOfConnectionAttempts_ = 0;
  KovaLogDebug("Connection established with Event Visualizer.");
  makeDeviceAvailable(session);
  scheduleMakeDeviceAvailableAttempt();
}

void KovaEventVisualizer::didReceiveMessage(KovaWebSocketSession& session, std::string_view message) {
  // A String is always UTF-8: it differs from text that is not.
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
  pairWasRequestedWithPairCode(std::string(code->text()), session);
}

void KovaEventVisualizer::handshakeFailedWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Handshake Failed With Error: %@", error);
  closeSocket();
  scheduleWebSocketConnectionAttempt();
}

void KovaEventVisualizer::handshakeFailedWithStatusCode(KovaWebSocketSession&, long statusCode) {
  KovaLogDebug("WebSocketConnection - Handshake Failed With Status Code: %ld", statusCode);
  closeSocket();
  if (statusCode != kUnauthorized && statusCode != kForbidden) scheduleWebSocketConnectionAttempt();
}

void KovaEventVisualizer::failedToSendWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Failed To Send Message With Error: %@", error);
}

void KovaEventVisualizer::didStopListeningWithError(KovaWebSocketSession&, const NSError& error) {
  KovaLogDebug("WebSocketConnection - Did Stop Listening With Error: %@", error);
  closeSocket();
}

void KovaEventVisualizer::didCloseWithCode(KovaWebSocketSession&, long code, const std::string&) {
  KovaLogDebug("WebSocketConnection - Did Stop Listening With Code: %ld", code);
  closeSocket();
}

void KovaEventVisualizer::webSocketConnectionMissedHeartbeat(KovaWebSocketSession&) {
  KovaLogDebug("WebSocketConnection - Disconnected due to Heartbeat Timeout");
  closeSocket();
}

void KovaEventVisualizer::webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession&) {
  KovaLogDebug("WebSocketConnection - Disconnected at Server's Request");
  closeSocket();
}

// --- Sending

void KovaEventVisualizer::makeDeviceAvailable(Session& connection) {
  ++numberOfDeviceAvailableAttempts_;
  sendSocketMessageWithEventName("device_available", connection, sender(pairCode()), {}, AfterSending::Stay);
}

// A pairing's first and last word take their turn, too: what belongs to the one before goes first.
void KovaEventVisualizer::sendDeviceAcceptedPair(std::shared_ptr<Session> connection,
                                                 const std::string& pairCode) {
  outbox_->post(nullptr, [connection = std::move(connection), from = sender(pairCode)](const Dictionary&) {
    sendSocketMessageWithEventName("device_accepted_pair", *connection, from, {}, AfterSending::Stay);
  });
}

void KovaEventVisualizer::sendDeviceDisconnect(std::shared_ptr<Session> connection) {
  outbox_->post(nullptr, [connection = std::move(connection), from = sender(pairCode())](const Dictionary&) {
    sendSocketMessageWithEventName("device_left", *connection, from, {}, AfterSending::Disconnect);
  });
}

std::string KovaEventVisualizer::pairCode() const {
  const MutexLock lock(mutex_);
  return pairCode_;
}

Dictionary KovaEventVisualizer::sender(const std::string& pairCode) const {
  MutableDictionary sender{{"appId", appId_}};
  {
    const MutexLock lock(mutex_);
    sender.append("deviceId", deviceId_);
  }
  sender.append("deviceName", UIDevice::currentDevice().facts().name);
  sender.append("deviceType", phoneModel_);
  if (!pairCode.empty()) sender.append("pairCode", pairCode);
  return Dictionary(std::move(sender));
}

void KovaEventVisualizer::sendSocketMessageWithEventName(std::string_view eventName, Session& connection,
                                                         const Dictionary& sender, const Dictionary& data,
                                                         AfterSending afterSending) {
  MutableDictionary payload(sender);
  payload.merge(data);
  const auto text = NSJSONSerialization::dataWithJSONObject(Array{eventName, Dictionary(std::move(payload))});
  if (!text) return KovaLogDebug("Failed to serialize event message data.");
  connection.sendText(*text, afterSending);
}
