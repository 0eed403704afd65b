#pragma once

#include <Kova/KovaOptions.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/NSObject.h"
#include "src/core/KovaTimer.h"
#include "src/visualizer/KIEventOutbox.h"
#include "src/visualizer/KovaWebSocketConnectionDelegate.h"
#include "src/visualizer/KovaWebSocketSession.h"

class KIAlertContainerViewController;
class KICaptureContext;
class KovaAppProperties;
namespace platform {
class UIView;
}

// Pairs the running app with a dashboard and, once the app's user has agreed, sends it every event with what
// was on screen.
//
// Life cycle: made by the tracker when pairing is asked for, and connected. It announces the device, waits
// for the dashboard to ask for pairing with a short code, and asks the user whether that is the code in the
// browser. "Accept" begins the capture, "Reject" disconnects. Every disconnect ends the pairing and gives the
// device a new id. An app that goes to the background disconnects, and connects again when it comes back, for
// as long as the object lives, also after disconnect(). Nothing is kept from run to run.
//
// Owner: the tracker, by std::shared_ptr. Queued work retains it; timers, the app's notifications and an
// alert that is shown refer to it weakly. An alert is taken back when its connection ends.
// Threads: the state and the socket belong to the mutation queue; alerts and the capture of screens to the
// main thread. connect(), disconnect(), resetDeviceId(), isPaired() and isCapturing() may be called from any.
//
// What is sent: nothing captured before "Accept". Each "Accept" begins a pairing with a number of its own;
// what was recorded before it, or for another, is not sent to it, and nothing is recorded while the user is
// asked about another code than the accepted one. An answer for a connection that is gone meanwhile is void.
// What a server may cost: a code that is no string, is empty or longer than kLongestPairCode bytes is
// refused, a message longer than kLongestMessage bytes is taken for one that cannot be read; of the requests
// that wait for the main thread or for an alert to go, only the newest is kept; and an alert that has taken
// the place of another stays for two seconds.
class KovaEventVisualizer : public platform::NSObject, public KovaWebSocketConnectionDelegate {
  NS_OBJECT(KovaEventVisualizer, NSObject)

 public:
  using CaptureRef = KIEventOutbox::CaptureRef;

  static constexpr std::size_t kLongestPairCode = 64;
  static constexpr std::size_t kLongestMessage = 64 * 1024;

  KovaEventVisualizer(std::string_view appId, std::shared_ptr<const KovaOptions> options,
                      const KovaAppProperties& appProperties,
                      std::shared_ptr<platform::NSOperationQueue> mutationQueue);
  ~KovaEventVisualizer() override;

  void connect();
  void disconnect();
  void resetDeviceId();

  bool isPaired() const { return isPaired_.load(std::memory_order_relaxed); }
  bool isCapturing() const { return isCapturing_.load(std::memory_order_relaxed); }

  // The pairing that an event recorded now is for; none when it is not to be sent. See KovaEventRecording.
  std::optional<std::uint64_t> currentPairing() const {
    return isCapturing() ? acceptedPairing() : std::nullopt;
  }

  // What is on screen as an event is recorded, to be handed back with its message; null when there is nothing
  // to show, or nobody to show it to. Main thread.
  CaptureRef willRecordWithTracker(const KICaptureContext& tracker) const {
    if (!isCapturing()) return nullptr;
    return captureScreen(nullptr, tracker);
  }
  CaptureRef willRecordWithView(platform::UIView* view, const KICaptureContext& tracker) const {
    if (!isCapturing() || !view) return nullptr;
    return captureScreen(view, tracker);
  }
  // Sends an event of the pairing, if that is still the current one, behind all that was recorded before it.
  // Mutation queue.
  void recordEventMessage(const platform::Dictionary& message, const CaptureRef& capture,
                          std::uint64_t pairing);

  // KovaWebSocketConnectionDelegate
  void webSocketConnectionDidConnect(KovaWebSocketSession& session) override;
  void didReceiveMessage(KovaWebSocketSession& session, std::string_view message) override;
  void handshakeFailedWithStatusCode(KovaWebSocketSession& session, long statusCode) override;
  void handshakeFailedWithError(KovaWebSocketSession& session, const platform::NSError& error) override;
  void didCloseWithCode(KovaWebSocketSession& session, long code, const std::string& reason) override;
  void didStopListeningWithError(KovaWebSocketSession& session, const platform::NSError& error) override;
  void failedToSendWithError(KovaWebSocketSession& session, const platform::NSError& error) override;
  void webSocketConnectionMissedHeartbeat(KovaWebSocketSession& session) override;
  void webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession& session) override;

 private:
  using Session = KovaWebSocketSession;
  using AfterSending = KovaWebSocketSession::AfterSending;
  struct PairRequest {
    std::string code;
    std::weak_ptr<Session> connection;
  };

  std::optional<std::uint64_t> acceptedPairing() const;
  // The code of the pairing; empty when it is not the current one, or when another code is asked about.
  std::string acceptedCode(std::uint64_t pairing) const;
  bool isAcceptedCodeCurrent() const PLATFORM_REQUIRES(mutex_);
  CaptureRef captureScreen(platform::UIView* view, const KICaptureContext& tracker) const;

  // Connecting.
  void connectWebSocket();
  void openSocket();
  void disconnectWebSocket();
  void closeSocket();
  void bindApplicationEventListeners();
  void applicationDidEnterBackground();
  void applicationWillEnterForeground();
  // From the attempt to connect to its end.
  bool hasOpenConnection() const;
  void scheduleWebSocketConnectionAttempt();
  void scheduleMakeDeviceAvailableAttempt();
  // One timer serves the next attempt to connect and the next announcement: scheduling one takes the place of
  // the other. Cancelled, it does nothing any more, even when it was firing.
  void scheduleRetry(double seconds, std::function<void(KovaEventVisualizer&)> action);
  void cancelRetryTimer();
  bool isCurrentRetry(std::uint64_t number) const;

  // Sending.
  void makeDeviceAvailable(Session& connection);
  void sendDeviceAcceptedPair(std::shared_ptr<Session> connection, const std::string& pairCode);
  void sendDeviceDisconnect(std::shared_ptr<Session> connection);
  // What each message says of the device and of the pairing, as they are now. The pair code may be empty.
  platform::Dictionary sender(const std::string& pairCode) const;
  static void sendSocketMessageWithEventName(std::string_view eventName, Session& connection,
                                             const platform::Dictionary& sender,
                                             const platform::Dictionary& data, AfterSending afterSending);
  std::string pairCode() const;

  // Pairing.
  void pairWasRequestedWithPairCode(std::string pairCode, Session& connection);
  void showPairRequest();
  void showPairRequestLater(PairRequest request, double seconds);
  double secondsUntilReplacement() const;
  void requestUserApprovalToPair(const PairRequest& request,
                                 const std::shared_ptr<KIAlertContainerViewController>& alertContainer);
  void pairingRequestWasAccepted(const PairRequest& request);
  void pairingRequestWasRejected(const PairRequest& request);
  void takeBackQuestion();
  // Whether the question that was put up last is about the connection that is open. Main thread.
  bool isQuestionOpen() const;
  void setIdleTimerDisabled(bool disabled);
  // Whether the request's connection is the one that is open. setPairCode keeps the code if so.
  bool isOpen(const PairRequest& request) const PLATFORM_REQUIRES(mutex_);
  bool setPairCode(const PairRequest& request);

  std::shared_ptr<KovaEventVisualizer> retained();
  void performOnMutationQueue(std::function<void(KovaEventVisualizer&)> block, platform::SEL selector);

  std::atomic<bool> isPaired_ = false;
  std::atomic<bool> isCapturing_ = false;
  // By the tracker and the app's state: a failed attempt is followed by another only as long as this holds.
  std::atomic<bool> isConnectionWanted_ = false;
  const std::string appId_;
  const std::string appVersion_;
  const std::string phoneModel_;
  const std::shared_ptr<const KovaOptions> options_;
  const std::shared_ptr<platform::NSOperationQueue> mutationQueue_;
  const std::optional<platform::NSURL> baseUrl_;  // none: there is nobody to pair with
  const std::shared_ptr<KIEventOutbox> outbox_;

  // Mutation queue only.
  std::shared_ptr<Session> socket_;
  std::int64_t numberOfConnectionAttempts_ = 0;
  std::int64_t numberOfDeviceAvailableAttempts_ = 0;
  std::vector<platform::NSNotificationCenter::Token> listeners_;

  // Main thread only.
  std::weak_ptr<KIAlertContainerViewController> alertContainer_;
  std::optional<PairRequest> question_;               // that was put up last
  std::optional<PairRequest> requestAfterDismissal_;  // while an alert is being dismissed
  std::optional<double> replacedAt_;                  // uptime, in seconds

  mutable platform::Mutex mutex_;
  std::weak_ptr<Session> openConnection_ PLATFORM_GUARDED_BY(mutex_);
  std::string deviceId_ PLATFORM_GUARDED_BY(mutex_);
  std::string pairCode_ PLATFORM_GUARDED_BY(mutex_);       // pending or accepted; empty for none
  std::string acceptedCode_ PLATFORM_GUARDED_BY(mutex_);   // empty for none
  std::uint64_t pairing_ PLATFORM_GUARDED_BY(mutex_) = 0;  // how often was accepted
  std::optional<PairRequest> waitingRequest_ PLATFORM_GUARDED_BY(mutex_);  // for the main thread
  std::shared_ptr<KovaTimer> retryTimer_ PLATFORM_GUARDED_BY(mutex_);
  std::uint64_t retryNumber_ PLATFORM_GUARDED_BY(mutex_) = 0;
};
