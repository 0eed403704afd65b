#include "src/visualizer/KovaEventVisualizer.h"

#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/Random.h"
#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/KovaEndpoints.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KIAlertContainerViewController.h"

using namespace platform;

namespace {

constexpr int kFirstSystemWithPairing = 13;
// An alert that has taken the place of another stays this long, so that a server that asks without end
// neither takes it away under the user's finger nor fills the app's pageviews with alerts.
constexpr double kShortestTimeBetweenReplacements = 2.0;  // seconds

// The container's window takes every touch of the app: it goes whatever has happened, also when the library
// has bailed meanwhile.
void uncoverTheApp(KIAlertContainerViewController& container) {
  static const SEL selector("removeAndRestorePrevious");
  kova::guarded(
      {container.isa(), selector}, [&container] { container.removeAndRestorePrevious(); },
      kova::OnException::Bail, kova::WhenBailed::RunAnyway);
}

// Uncovers the app at its end unless the container presents an alert, or is going to.
class ShownForAnAlert {
 public:
  explicit ShownForAnAlert(const std::shared_ptr<KIAlertContainerViewController>& container)
      : container_(container) {}
  ~ShownForAnAlert() {
    if (!isAlertOnItsWay_ && !container_->presentedViewController()) uncoverTheApp(*container_);
  }
  ShownForAnAlert(const ShownForAnAlert&) = delete;
  ShownForAnAlert& operator=(const ShownForAnAlert&) = delete;

  void anAlertIsOnItsWay() { isAlertOnItsWay_ = true; }

 private:
  const std::shared_ptr<KIAlertContainerViewController> container_;
  bool isAlertOnItsWay_ = false;
};

}  // namespace

KovaEventVisualizer::KovaEventVisualizer(std::string_view appId, std::shared_ptr<const KovaOptions> options,
                                         const KovaAppProperties& appProperties,
                                         std::shared_ptr<NSOperationQueue> mutationQueue)
    : appId_(appId),
      appVersion_(appProperties.appVersion()),
      phoneModel_(appProperties.phoneModel()),
      options_(std::move(options)),
      mutationQueue_(std::move(mutationQueue)),
      baseUrl_(kova::eventVisualizerEndpoint(options_->givenEventVisualizerWebSocketBaseUrl())),
      outbox_(std::make_shared<KIEventOutbox>(mutationQueue_)) {
  resetDeviceId();
}

KovaEventVisualizer::~KovaEventVisualizer() {
  static const SEL selector("dealloc");
  kova::guarded(
      {classObject(), selector},
      [this] {
        cancelRetryTimer();
        for (const auto token : listeners_) NSNotificationCenter::defaultCenter().removeObserver(token);
      },
      kova::OnException::Bail, kova::WhenBailed::RunAnyway);
}

void KovaEventVisualizer::resetDeviceId() {
  auto deviceId = std::to_string(platform::arc4random());
  const MutexLock lock(mutex_);
  deviceId_ = std::move(deviceId);
}

// --- Captured events

KovaEventVisualizer::CaptureRef KovaEventVisualizer::captureScreen(UIView* view,
                                                                   const KICaptureContext& tracker) const {
  return outbox_->prepare(KovaEventVisualizerContext::create(view, tracker, *options_));
}

std::optional<std::uint64_t> KovaEventVisualizer::acceptedPairing() const {
  const MutexLock lock(mutex_);
  return isAcceptedCodeCurrent() ? std::optional(pairing_) : std::nullopt;
}

std::string KovaEventVisualizer::acceptedCode(std::uint64_t pairing) const {
  const MutexLock lock(mutex_);
  return isAcceptedCodeCurrent() && pairing_ == pairing ? acceptedCode_ : std::string();
}

bool KovaEventVisualizer::isAcceptedCodeCurrent() const {
  return !acceptedCode_.empty() && pairCode_ == acceptedCode_;
}

void KovaEventVisualizer::recordEventMessage(const Dictionary& message, const CaptureRef& capture,
                                             std::uint64_t pairing) {
  if (!NSProcessInfo::processInfo().isOperatingSystemAtLeast(kFirstSystemWithPairing)) return;
  const std::string code = acceptedCode(pairing);
  if (!isCapturing() || code.empty()) return;
  // Whatever is asked and answered until the pictures are encoded: it goes where it was accepted.
  outbox_->post(capture, [connection = socket_, from = sender(code), message](const Dictionary& captured) {
    MutableDictionary data{{"message", message}};
    data.merge(captured);
    sendSocketMessageWithEventName("device_captured_event", *connection, from, Dictionary(std::move(data)),
                                   AfterSending::Stay);
  });
}

// --- Pairing

bool KovaEventVisualizer::isOpen(const PairRequest& request) const {
  const auto connection = request.connection.lock();
  return connection && connection == openConnection_.lock();
}

bool KovaEventVisualizer::setPairCode(const PairRequest& request) {
  const MutexLock lock(mutex_);
  if (!isOpen(request)) return false;
  pairCode_ = request.code;
  return true;
}

void KovaEventVisualizer::pairWasRequestedWithPairCode(std::string pairCode, Session& connection) {
  static const SEL selector("pairWasRequestedWithPairCode:andConnection:");
  PairRequest request{std::move(pairCode), std::static_pointer_cast<Session>(connection.shared_from_this())};
  if (options_->testOnlySkipEVPairingDialog()) {
    if (setPairCode(request)) pairingRequestWasAccepted(request);
    return;
  }
  {
    const MutexLock lock(mutex_);
    const bool isMainThreadAsked = waitingRequest_.has_value();
    waitingRequest_ = std::move(request);
    if (isMainThreadAsked) return;
  }
  KOVA_addSafeOperationWithBlock(*NSOperationQueue::mainQueue(),
                                 [self = retained()] { self->showPairRequest(); }, {isa(), selector});
}

void KovaEventVisualizer::showPairRequest() {
  static const SEL selector("pairWasRequestedWithPairCode:andConnection:");
  std::optional<PairRequest> request;
  bool isOnScreen;
  {
    const MutexLock lock(mutex_);
    request = std::exchange(waitingRequest_, std::nullopt);
    if (!request || !isOpen(*request)) return;
    isOnScreen = pairCode_ == request->code;
  }
  auto container = alertContainer_.lock();
  if (container && container->isStranded()) uncoverTheApp(*std::exchange(container, nullptr));
  if (!container) {
    container = std::make_shared<KIAlertContainerViewController>();
    alertContainer_ = container;
    requestAfterDismissal_.reset();
  }
  ShownForAnAlert shown(container);
  container->moveToTop();
  if (requestAfterDismissal_) {
    requestAfterDismissal_ = std::move(request);
    return shown.anAlertIsOnItsWay();
  }
  if (!container->presentedViewController()) return requestUserApprovalToPair(*request, container);
  if (isOnScreen) return;
  if (const double wait = secondsUntilReplacement(); wait > 0) return showPairRequestLater(*request, wait);
  replacedAt_ = Scheduler::current().uptime();
  requestAfterDismissal_ = std::move(request);
  shown.anAlertIsOnItsWay();
  container->dismissViewController(true, [self = retained(), container] {
    const ShownForAnAlert shownAfterwards(container);
    const auto next = std::exchange(self->requestAfterDismissal_, std::nullopt);
    kova::guarded({classObject(), selector}, [&] {
      if (next) self->requestUserApprovalToPair(*next, container);
    });
  });
}

double KovaEventVisualizer::secondsUntilReplacement() const {
  return replacedAt_ ? *replacedAt_ + kShortestTimeBetweenReplacements - Scheduler::current().uptime() : 0;
}

// As long as the request waits, newer ones take its place.
void KovaEventVisualizer::showPairRequestLater(PairRequest request, double seconds) {
  {
    const MutexLock lock(mutex_);
    if (!waitingRequest_) waitingRequest_ = std::move(request);
  }
  KovaTimer::scheduleSafeOperationWithBlock(
      [visualizer = std::weak_ptr(retained())] {
        if (const auto self = visualizer.lock()) self->showPairRequest();
      },
      seconds, NSOperationQueue::mainQueue());
}

void KovaEventVisualizer::requestUserApprovalToPair(
    const PairRequest& request, const std::shared_ptr<KIAlertContainerViewController>& alertContainer) {
  static const SEL selector("_requestUserApprovalToPairWithCode:alertContainer:andConnection:");
  if (!setPairCode(request)) return;
  question_ = request;
  const auto alert = std::make_shared<UIAlertController>(
      "Confirm connection?",
      formatted("Please confirm that the following pairing code matches the one in your browser: %@",
                request.code));
  // The answer goes to the visualizer if it still is there; the container, which keeps the alert, goes in any
  // case.
  const auto answer = [this, &alertContainer](std::function<void(KovaEventVisualizer&)> action) {
    return [visualizer = std::weak_ptr(retained()), shown = std::weak_ptr(alertContainer),
            action = std::move(action)](UIAlertAction&) {
      if (const auto container = shown.lock()) uncoverTheApp(*container);
      kova::guarded({classObject(), selector}, [&] {
        if (const auto self = visualizer.lock()) self->performOnMutationQueue(action, selector);
      });
    };
  };
  alert->addAction(std::make_shared<UIAlertAction>(
      "Reject", UIAlertAction::Style::Default,
      answer([request](KovaEventVisualizer& self) { self.pairingRequestWasRejected(request); })));
  const auto accept = std::make_shared<UIAlertAction>(
      "Accept", UIAlertAction::Style::Default,
      answer([request](KovaEventVisualizer& self) { self.pairingRequestWasAccepted(request); }));
  alert->addAction(accept);
  alert->setPreferredAction(accept);
  alertContainer->presentViewController(alert, true);
}

void KovaEventVisualizer::pairingRequestWasAccepted(const PairRequest& request) {
  const auto connection = request.connection.lock();
  {
    const MutexLock lock(mutex_);
    if (!isOpen(request) || pairCode_ != request.code) return;
    acceptedCode_ = request.code;
    ++pairing_;
  }
  isCapturing_ = true;
  isPaired_ = true;
  sendDeviceAcceptedPair(connection, request.code);
  setIdleTimerDisabled(true);
}

// A question is void without its connection. This comes after the connection's end, so that no other question
// for it takes its place, but may come after the first of the next connection.
void KovaEventVisualizer::takeBackQuestion() {
  static const SEL selector("takeBackQuestion");
  KOVA_addSafeOperationWithBlock(*NSOperationQueue::mainQueue(),
                                 [self = retained()] {
                                   const auto container = self->alertContainer_.lock();
                                   if (container && !self->isQuestionOpen()) uncoverTheApp(*container);
                                 },
                                 {isa(), selector});
}

bool KovaEventVisualizer::isQuestionOpen() const {
  const MutexLock lock(mutex_);
  return question_ && isOpen(*question_);
}

void KovaEventVisualizer::pairingRequestWasRejected(const PairRequest& request) {
  {
    const MutexLock lock(mutex_);
    if (!isOpen(request)) return;
  }
  disconnectWebSocket();
}

void KovaEventVisualizer::setIdleTimerDisabled(bool disabled) {
  static const SEL selector("setIdleTimerDisabled:");
  KOVA_addSafeOperationWithBlock(*NSOperationQueue::mainQueue(),
                                 [disabled] {
                                   if (const auto& application = UIApplication::sharedApplication()) {
                                     application->setIdleTimerDisabled(disabled);
                                   }
                                 },
                                 {isa(), selector});
}
