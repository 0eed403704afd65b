#include "src/visualizer/KovaEventVisualizer.h"

#include <utility>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/Random.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/KovaEndpoints.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"

using namespace platform;

namespace {

constexpr int kFirstSystemWithPairing = 13;

}  // namespace

bool KovaEventVisualizer::isAvailable() {
  return NSProcessInfo::processInfo().isOperatingSystemAtLeast(kFirstSystemWithPairing);
}

KovaEventVisualizer::KovaEventVisualizer(std::string_view appId, std::shared_ptr<const KovaOptions> options,
                                         const KovaAppProperties& appProperties,
                                         std::shared_ptr<KISerialStateQueue> mutationQueue)
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
  kova::guarded(
      {*this, "dealloc"},
      [this] {
        kova::mutationQueue.isHere();  // nobody else is
        cancelRetryTimer();
        for (const auto token : listeners_) NSNotificationCenter::defaultCenter().removeObserver(token);
      },
      kova::OnException::Bail, kova::WhenBailed::RunAnyway);
}

void KovaEventVisualizer::resetDeviceId() { deviceId_ = platform::arc4random(); }

// --- Captured events

KovaEventVisualizer::CaptureRef KovaEventVisualizer::willRecordWithTracker(
    const KICaptureContext& tracker) const {
  if (!isCapturing()) return nullptr;
  return outbox_->prepare(KovaEventVisualizerContext::create(nullptr, tracker, *options_));
}

KovaEventVisualizer::CaptureRef KovaEventVisualizer::willRecordWithView(
    UIView* view, const KICaptureContext& tracker) const {
  if (!isCapturing() || !view) return nullptr;
  return outbox_->prepare(KovaEventVisualizerContext::create(view, tracker, *options_));
}

void KovaEventVisualizer::recordEventMessage(const Dictionary& message, const CaptureRef& capture,
                                             std::uint64_t pairing) {
  if (pairing_ && isAvailable()) pairing_->recordEventMessage(message, capture, pairing);
}

// --- Pairing

void KovaEventVisualizer::pairWasRequestedWithPairCode(std::string pairCode) {
  const KIPairingQuestion::Request request{std::move(pairCode), pairing_};
  if (!options_->testOnlySkipEVPairingDialog()) return question_->ask(request);
  pairingRequestReached(Step::Shown, request);
  pairingRequestReached(Step::Accepted, request);
}

std::shared_ptr<KIPairingQuestion> KovaEventVisualizer::makeQuestion() {
  return std::make_shared<KIPairingQuestion>(
      [visualizer = std::weak_ptr(retained(*this))](auto step, const auto& request) {
        const auto reached = [step, request](auto& self)
                                 KOVA_ON_MUTATION_QUEUE { self.pairingRequestReached(step, request); };
        const auto self = visualizer.lock();
        if (!self) return;
        kova::perform(*self->mutationQueue_, *self,
                      "_requestUserApprovalToPairWithCode:alertContainer:andConnection:", reached);
      });
}

void KovaEventVisualizer::pairingRequestReached(Step step, const KIPairingQuestion::Request& request) {
  // The connection may have ended as the question was put up.
  if (!pairing_ || pairing_ != request.pairing.lock()) return question_->takeBack();
  if (step == Step::Rejected) return disconnectWebSocket();
  if (step == Step::Accepted) return pairingRequestWasAccepted(request.code);
  pairing_->wasAskedAbout(request.code);
  publishPairing();
}

void KovaEventVisualizer::pairingRequestWasAccepted(const std::string& pairCode) {
  if (!pairing_->wasAccepted(pairCode, ++numberOfPairings_)) return;
  publishPairing();
  setIdleTimerDisabled(true);
}

void KovaEventVisualizer::publishPairing() {
  isPaired_ = pairing_ && pairing_->isPaired();
  currentPairing_ = pairing_ ? pairing_->number().value_or(0) : 0;
}

void KovaEventVisualizer::setIdleTimerDisabled(bool disabled) {
  KOVA_addSafeOperationWithBlock(*NSOperationQueue::mainQueue(),
                                 [disabled] {
                                   if (const auto& application = UIApplication::sharedApplication()) {
                                     application->setIdleTimerDisabled(disabled);
                                   }
                                 },
                                 {*this, "setIdleTimerDisabled:"});
}
