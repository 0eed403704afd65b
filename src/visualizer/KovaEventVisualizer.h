#pragma once

#include <Kova/KovaOptions.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KIEventOutbox.h"
#include "src/visualizer/KIPairing.h"
#include "src/visualizer/KIPairingQuestion.h"
#include "src/visualizer/KovaWebSocketConnectionDelegate.h"

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
// browser (KIPairingQuestion). "Accept" begins the capture, "Reject" disconnects. Each connection is a
// KIPairing of its own, and its device has an id of its own. An app that goes to the background disconnects,
// and connects again when it comes back, for as long as the object lives, also after disconnect(). Nothing is
// kept from run to run.
//
// Owner: the tracker, by std::shared_ptr. Queued work retains it; timers, the app's notifications and an
// alert that is shown refer to it weakly.
// connect(), disconnect(), resetDeviceId(), isPaired() and isCapturing() may be called from any thread. An
// answer is handed to the mutation queue, where it is void once its connection has ended.
//
// What a server may cost: a code that is no string, is empty or longer than kLongestPairCode bytes is
// refused, and a message longer than kLongestMessage bytes is taken for one that cannot be read.
class KovaEventVisualizer : public platform::NSObject, public KovaWebSocketConnectionDelegate {
  NS_OBJECT(KovaEventVisualizer, NSObject)

 public:
  using CaptureRef = KIEventOutbox::CaptureRef;

  static constexpr std::size_t kLongestPairCode = 64;
  static constexpr std::size_t kLongestMessage = 64u << 10;

  // Whether this system is new enough.
  static bool isAvailable();

  KovaEventVisualizer(std::string_view appId, std::shared_ptr<const KovaOptions> options,
                      const KovaAppProperties& appProperties,
                      std::shared_ptr<KISerialStateQueue> mutationQueue);
  ~KovaEventVisualizer() override;

  void connect();
  void disconnect();
  // For the next connection.
  void resetDeviceId();

  // From "Accept" to the end of the connection.
  bool isPaired() const { return isPaired_.load(std::memory_order_relaxed); }
  bool isCapturing() const { return isPaired(); }

  // The pairing that an event recorded now is for; none when it is not to be sent. See KovaEventRecording.
  std::optional<std::uint64_t> currentPairing() const {
    const std::uint64_t pairing = currentPairing_.load(std::memory_order_relaxed);
    return pairing ? std::optional(pairing) : std::nullopt;
  }

  // What is on screen as an event is recorded, to be handed back with its message; null when there is nothing
  // to show, or no dashboard to show it.
  CaptureRef willRecordWithTracker(const KICaptureContext& tracker) const KOVA_ON_MAIN_THREAD;
  CaptureRef willRecordWithView(platform::UIView* view,
                                const KICaptureContext& tracker) const KOVA_ON_MAIN_THREAD;
  // Sends an event of the pairing, if that is still the current one, behind all that was recorded before it.
  void recordEventMessage(const platform::Dictionary& message, const CaptureRef& capture,
                          std::uint64_t pairing) KOVA_ON_MUTATION_QUEUE;

  // KovaWebSocketConnectionDelegate
  void webSocketConnectionDidConnect(KovaWebSocketSession& session) KOVA_ON_MUTATION_QUEUE override;
  void didReceiveMessage(KovaWebSocketSession& session,
                         std::string_view message) KOVA_ON_MUTATION_QUEUE override;
  void handshakeFailedWithStatusCode(KovaWebSocketSession& session,
                                     long statusCode) KOVA_ON_MUTATION_QUEUE override;
  void handshakeFailedWithError(KovaWebSocketSession& session,
                                const platform::NSError& error) KOVA_ON_MUTATION_QUEUE override;
  void didCloseWithCode(KovaWebSocketSession& session, long code,
                        const std::string& reason) KOVA_ON_MUTATION_QUEUE override;
  void didStopListeningWithError(KovaWebSocketSession& session,
                                 const platform::NSError& error) KOVA_ON_MUTATION_QUEUE override;
  void failedToSendWithError(KovaWebSocketSession& session,
                             const platform::NSError& error) KOVA_ON_MUTATION_QUEUE override;
  void webSocketConnectionMissedHeartbeat(KovaWebSocketSession& session) KOVA_ON_MUTATION_QUEUE override;
  void webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession& session)
      KOVA_ON_MUTATION_QUEUE override;

 private:
  using Step = KIPairingQuestion::Step;

  // Connecting.
  void connectWebSocket() KOVA_ON_MUTATION_QUEUE;
  void disconnectWebSocket() KOVA_ON_MUTATION_QUEUE;
  void bindApplicationEventListeners() KOVA_ON_MUTATION_QUEUE;
  void applicationDidEnterBackground();
  void applicationWillEnterForeground();
  void scheduleWebSocketConnectionAttempt() KOVA_ON_MUTATION_QUEUE;
  void makeDeviceAvailable() KOVA_ON_MUTATION_QUEUE;
  // One timer serves the next attempt to connect and the next announcement: scheduling one takes the place of
  // the other. Cancelled, it does nothing any more, even when it was firing.
  template <class Action>
  void scheduleRetry(double seconds, Action action) KOVA_ON_MUTATION_QUEUE;
  void cancelRetryTimer() KOVA_ON_MUTATION_QUEUE;

  // Pairing.
  void pairWasRequestedWithPairCode(std::string pairCode) KOVA_ON_MUTATION_QUEUE;
  std::shared_ptr<KIPairingQuestion> makeQuestion() KOVA_ON_MUTATION_QUEUE;
  void pairingRequestReached(Step step, const KIPairingQuestion::Request& request) KOVA_ON_MUTATION_QUEUE;
  void pairingRequestWasAccepted(const std::string& pairCode) KOVA_ON_MUTATION_QUEUE;
  // For the other threads.
  void publishPairing() KOVA_ON_MUTATION_QUEUE;
  void setIdleTimerDisabled(bool disabled);

  std::atomic<bool> isPaired_ = false;
  std::atomic<std::uint64_t> currentPairing_ = 0;  // counted from 1; 0 for none
  std::atomic<std::uint32_t> deviceId_ = 0;
  std::atomic<std::uint64_t> retryNumber_ = 0;  // of the retry that counts; a higher one makes it void
  const std::string appId_;
  const std::string appVersion_;
  const std::string phoneModel_;
  const std::shared_ptr<const KovaOptions> options_;
  const std::shared_ptr<KISerialStateQueue> mutationQueue_;
  const std::optional<platform::NSURL> baseUrl_;  // none: there is no dashboard to pair with
  const std::shared_ptr<KIEventOutbox> outbox_;

  std::shared_ptr<KIPairing> pairing_ KOVA_OF_MUTATION_QUEUE;           // null while there is no connection
  std::shared_ptr<KIPairingQuestion> question_ KOVA_OF_MUTATION_QUEUE;  // null before the first connection
  std::uint64_t numberOfPairings_ KOVA_OF_MUTATION_QUEUE = 0;
  std::int64_t numberOfConnectionAttempts_ KOVA_OF_MUTATION_QUEUE = 0;
  std::shared_ptr<KovaTimer> retryTimer_ KOVA_OF_MUTATION_QUEUE;
  std::vector<platform::NSNotificationCenter::Token> listeners_ KOVA_OF_MUTATION_QUEUE;
};
