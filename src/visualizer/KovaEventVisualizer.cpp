#include "src/visualizer/KovaEventVisualizer.h"

#include <utility>

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

}  // namespace

KovaEventVisualizer::KovaEventVisualizer(std::string_view appId, std::shared_ptr<const KovaOptions> options,
                                         const KovaAppProperties& appProperties,
                                         std::shared_ptr<NSOperationQueue> mutationQueue)
    : appId_(appId),
      appVersion_(appProperties.appVersion()),
      phoneModel_(appProperties.phoneModel()),
      options_(std::move(options)),
      mutationQueue_(std::move(mutationQueue)),
      baseUrl_(options_->eventVisualizerWebSocketBaseUrl().value_or(kova::defaultEventVisualizerEndpoint())) {
  resetDeviceId();
}

KovaEventVisualizer::~KovaEventVisualizer() {
  static const SEL selector("dealloc");
  kova::guarded(
      {classObject(), selector}, [this] { cancelRetryTimer(); }, kova::OnException::Bail,
      kova::WhenBailed::RunAnyway);
}

void KovaEventVisualizer::resetDeviceId() {
  auto deviceId = std::to_string(platform::arc4random());
  const MutexLock lock(mutex_);
  deviceId_ = std::move(deviceId);
}

// --- Captured events

KovaEventVisualizer::Context KovaEventVisualizer::captureScreen(UIView* view,
                                                                const KICaptureContext& tracker) const {
  return KovaEventVisualizerContext::create(view, tracker, *options_);
}

void KovaEventVisualizer::recordEventMessage(const Dictionary& message, const Context& context) {
  if (!isCapturing() || !NSProcessInfo::processInfo().isOperatingSystemAtLeast(kFirstSystemWithPairing)) {
    return;
  }
  {
    const MutexLock lock(mutex_);
    if (pairCode_ != acceptedCode_) return;
  }
  MutableDictionary data{{"message", message}};
  if (context) data.merge(context->transmittableDictionary());
  sendSocketMessageWithEventName("device_captured_event", *socket_, Dictionary(std::move(data)),
                                 AfterSending::Stay);
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
  if (!container) {
    container = std::make_shared<KIAlertContainerViewController>();
    alertContainer_ = container;
    requestAfterDismissal_.reset();
  }
  container->moveToTop();
  if (requestAfterDismissal_) {
    requestAfterDismissal_ = std::move(request);
    return;
  }
  if (!container->presentedViewController()) return requestUserApprovalToPair(*request, container);
  if (isOnScreen) return;
  requestAfterDismissal_ = std::move(request);
  container->dismissViewController(true, [self = retained(), container] {
    kova::guarded({classObject(), selector}, [&] {
      const auto next = std::exchange(self->requestAfterDismissal_, std::nullopt);
      if (next) self->requestUserApprovalToPair(*next, container);
    });
  });
}

void KovaEventVisualizer::requestUserApprovalToPair(
    const PairRequest& request, const std::shared_ptr<KIAlertContainerViewController>& alertContainer) {
  static const SEL selector("_requestUserApprovalToPairWithCode:alertContainer:andConnection:");
  if (!setPairCode(request)) return;
  const auto alert = std::make_shared<UIAlertController>(
      "Confirm connection?",
      formatted("Please confirm that the following pairing code matches the one in your browser: %@",
                request.code));
  // The answer goes to the visualizer if it still is there; the container goes in any case.
  const auto answer = [this, &alertContainer](std::function<void(KovaEventVisualizer&)> action) {
    const std::weak_ptr<KovaEventVisualizer> visualizer = retained();
    return [visualizer, alertContainer, action = std::move(action)](UIAlertAction&) {
      kova::guarded({classObject(), selector}, [&] {
        alertContainer->removeAndRestorePrevious();
        if (const auto self = visualizer.lock()) self->performOnMutationQueue(action, selector);
      });
    };
  };
  alert->addAction(
      std::make_shared<UIAlertAction>("Reject", UIAlertAction::Style::Default,
                                      answer([](KovaEventVisualizer& self) { self.disconnectWebSocket(); })));
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
  }
  isCapturing_ = true;
  isPaired_ = true;
  sendDeviceAcceptedPair(*connection);
  setIdleTimerDisabled(true);
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
