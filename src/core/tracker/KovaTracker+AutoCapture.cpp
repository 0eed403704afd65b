// Touches, gestures and field edits: from the interceptors to the queue.

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>
#include <Kova/KovaConstants.h>
#include <Kova/KovaOptions.h>

#include "platform/uikit/UIControl.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UITouch.h"
#include "src/autocapture/KITouchEvent.h"
#include "src/autocapture/KITouchEventCache.h"
#include "src/autocapture/KovaSegmentedControlObserver.h"
#include "src/autocapture/TouchTarget.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSObject+ClassOf.h"
#include "src/core/NSObject+TextForKey.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker+Calls.h"
#include "src/core/tracker/UIApplication+EventInterceptor.h"
#include "src/core/tracker/UIGestureRecognizer+EventInterceptor.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/pageviews/UIView+Visibility.h"
#include "src/storage/KovaQueueManager.h"
#include "src/visualizer/KovaEventRecording.h"

using namespace platform;

namespace {

constexpr const char* kRecordSelector =
    "recordAutocapturedEventWithType:view:touch:selector:includeViewAncestry:";

bool isForegroundAndVisible(const std::shared_ptr<UIView>& view) KOVA_ON_MAIN_THREAD {
  return view && KOVA_isForegroundAndVisible(*view);
}

// What a sender of actions is known by. Most are views; any object may answer by key.
struct SenderFacts {
  std::optional<String> identifier;
  std::optional<String> label;
};

SenderFacts factsOf(const std::shared_ptr<NSObject>& sender, bool withLabel) {
  static const SEL identifierKey("accessibilityIdentifier");
  static const SEL labelKey("accessibilityLabel");
  if (!sender) return {};
  const auto* view = dynamic_cast<const UIView*>(sender.get());
  const auto* responder = dynamic_cast<const UIResponder*>(sender.get());
  SenderFacts facts;
  facts.identifier = view ? view->accessibilityIdentifier() : KOVA_textForKey(*sender, identifierKey);
  if (withLabel)
    facts.label = responder ? responder->accessibilityLabel() : KOVA_textForKey(*sender, labelKey);
  return facts;
}

// What is there already stays: the first action to reach a touch wins.
void enrich(KITouchEvent& event, const SenderFacts& facts, const std::optional<String>& selector) {
  if (facts.identifier && !event.targetAccessibilityIdentifier()) {
    event.setTargetAccessibilityIdentifier(facts.identifier);
  }
  if (facts.label && !event.targetAccessibilityLabel()) event.setTargetAccessibilityLabel(facts.label);
  if (selector && !event.targetSelector()) event.setTargetSelector(kova::trimSelector(selector));
}

}  // namespace

void KovaTracker::instrumentAutocaptureWithOptions(const KovaOptions& options) {
  KOVA_performSafelyOnMainQueueWithBlock(
      [viewControllers = !options.disableViewControllerAutocapture(),
       touches = !options.disableTouchAutocapture(), gestures = options.enableGestureAutocapture()]()
          KOVA_ON_MAIN_THREAD {
            if (viewControllers) KOVA_instrumentPageviewAutocapture();
            KOVA_instrumentEventVisualizerShakeGesture();
            if (!touches) return;
            KOVA_instrumentTouchAutocaptureOfApplication();
            if (gestures) KOVA_instrumentTouchAutocaptureOfGestureRecognizers();
          },
      {"KovaTracker", "instrumentAutocaptureWithOptions:"});
}

std::optional<Dictionary> KovaTracker::overriddenTouchEventPropertiesForEventType(std::string_view eventType,
                                                                                  UIView* view,
                                                                                  UITouch* touch,
                                                                                  UIControl* control) const {
  const auto delegate = options_->autocaptureEnrichmentDelegate();
  if (!delegate || !view) return std::nullopt;
  return delegate->autocaptureTouchEventPropertiesForEventType(eventType, *view, touch, control);
}

std::optional<Dictionary> KovaTracker::overriddenAncestryNodePropertiesForResponder(
    UIResponder* responder) const {
  const auto delegate = options_->autocaptureEnrichmentDelegate();
  if (!delegate || !responder) return std::nullopt;
  return delegate->autocaptureAncestryNodePropertiesForResponder(*responder);
}

bool KovaTracker::isTouchAutocaptureDisabled() const { return options_->disableTouchAutocapture(); }
bool KovaTracker::isViewControllerAutocaptureDisabled() const {
  return options_->disableViewControllerAutocapture();
}
bool KovaTracker::isBackgroundAutocaptureDisabled() const {
  return options_->disableAutocaptureWhenBackgrounded();
}
bool KovaTracker::isTitleCaptureDisabled() const { return options_->disableTitleCapture(); }
bool KovaTracker::isTextCaptureDisabled() const { return options_->disableTextCapture(); }
bool KovaTracker::isAccessibilityLabelCaptureDisabled() const {
  return options_->disableAccessibilityLabelCapture();
}
bool KovaTracker::isIvarCaptureDisabled() const { return options_->disableIvarCapture(); }
std::int64_t KovaTracker::hierarchyCaptureLimit() const { return options_->hierarchyCaptureLimit(); }
bool KovaTracker::enableAccessibilityPrefetching() const {
  return options_->enableAccessibilityPrefetching();
}

void KovaTracker::recordAutocapturedEventWithType(const String& type, std::shared_ptr<UIView> view,
                                                  std::shared_ptr<UITouch> touch,
                                                  const std::optional<String>& selector,
                                                  ViewAncestry viewAncestry) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(type);
  if (isTouchAutocaptureDisabled()) return;
  extendSession();
  performSafelyOnMainQueueWithBlock(
      kRecordSelector, [seen = kova::SeenTouch{type, std::move(view), std::move(touch), selector,
                                               viewAncestry}](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        const auto event = tracker.readTouch(seen);
        if (!event) return;
        tracker.injectPageviewsIfNeeded();
        if (seen.touch) return tracker.keepUntilItsAction(event);
        tracker.consumeTouchEvent(event);
      });
}

std::shared_ptr<KITouchEvent> KovaTracker::readTouch(const kova::SeenTouch& seen) {
  if (isBackgroundAutocaptureDisabled() && !isForegroundAndVisible(seen.view) &&
      !(seen.touch && isForegroundAndVisible(seen.touch->view()))) {
    return nullptr;
  }
  const int visibility = kova::appVisibilityState(kRecordSelector);
  auto target = KITouchEvent::targetOf(seen, KOVA_touchEventIgnoreRules(seen.view.get(), nullptr), *this);
  if (!target) return nullptr;
  auto event = KITouchEvent::create(std::move(*target), visibility, *this);
  event->setEvCaptureContext(KovaEventRecording::ofView(eventVisualizer_, event->view().get(), *this));
  return event;
}

void KovaTracker::keepUntilItsAction(const std::shared_ptr<KITouchEvent>& event) {
  note(*event);
  touchEventCache_->addTouchEvent(
      event, [weakTracker = std::weak_ptr(retained(*this)), weakQueues = std::weak_ptr(queueManager_), event,
              observer = KovaSegmentedControlObserver::observeTouchEvent(event)] {
        kova::mainThread.isHere();
        if (observer) observer->stopObserving();
        auto tracker = weakTracker.lock();
        if (!tracker) tracker = sharedTracker();  // which has taken over what waited, unless it was erased
        if (tracker && tracker->queueManager_ == weakQueues.lock()) tracker->consumeTouchEvent(event);
      });
  // Session and identity are those of the time of the touch, not of the time when it leaves the cache: this
  // has to happen before whatever is queued next, which is no reason to wake the queue.
  performSafelyOnMutationQueueLazilyWithBlock(
      kRecordSelector, [event, call = event->calls().back()](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
        event->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
        tracker.noteMoment(call, event->moment());
      });
}

void KovaTracker::recordAutocapturedGestureRecognizer(const UIGestureRecognizer& recognizer) {
  if (!options_->enableGestureAutocapture()) return;
  recordAutocapturedEventWithType(KOVA_classOf(recognizer).name(), recognizer.view(), nullptr,
                                  KOVA_initialAction(recognizer), KITouchEvent::ViewAncestry::Omit);
}

void KovaTracker::enrichAutocapturedEventForTouch(std::shared_ptr<UITouch> touch,
                                                  const std::optional<String>& selectorString,
                                                  std::shared_ptr<NSObject> sender) {
  auto control = std::dynamic_pointer_cast<UIControl>(sender);
  if (!touch && !control) return;
  if (!isTrackingEnabled()) {
    if (!KovaLoggingEnabled(kKovaLogLevelDebug)) return;
    return logDebugTrackingDisabled(formatted("Selector: %@", selectorString));
  }
  if (isTouchAutocaptureDisabled()) return;
  extendSession();
  performSafelyOnMainQueueWithBlock(
      "enrichAutocapturedEventForTouch:withSelectorString:sender:",
      [touch = std::move(touch), selectorString, sender = std::move(sender),
       control = std::move(control)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        const auto touched = touch ? touch->view() : nullptr;
        unsigned rules = KOVA_touchEventIgnoreRules(touched.get(), control.get());
        // Any responder may send an action, and the view that was touched be another, which is not redacted.
        const auto responder = std::dynamic_pointer_cast<UIResponder>(sender);
        rules |= KOVA_findCombinedIgnoreRules(responder.get(), kKovaIgnoreRuleIgnore);
        if (rules & kKovaIgnoreRuleIgnore) return;
        if (control && !KOVA_isVisibleInHierarchy(*control)) return;
        SenderFacts facts = factsOf(sender, !tracker.isAccessibilityLabelCaptureDisabled());
        const unsigned labelRules = rules | (responder ? KOVA_ownLabelRules(*responder) : 0);
        const bool isRedacted = labelRules & kKovaIgnoreRuleRedactAccessibilityLabel;
        if (isRedacted && facts.label && !facts.label->empty()) facts.label = KovaRedactedTextSubstitution;
        for (const auto& event :
             tracker.touchEventCache_->eventsWithTouchIfPresent(touch.get(), control.get())) {
          enrich(*event, facts, selectorString);
          tracker.note(*event);
        }
      });
}

void KovaTracker::consumeTouchEvent(std::shared_ptr<KITouchEvent> event) {
  event->releaseViews();
  if (event->calls().empty()) note(*event);
  performSafelyOnMutationQueueSoonWithBlock(
      "consumeTouchEvent:", [event = std::move(event)](KovaTracker& tracker)
                                KOVA_ON_MUTATION_QUEUE { tracker.enqueueTouchEvent(*event); });
}

void KovaTracker::enqueueTouchEvent(const KITouchEvent& event) {
  if (!queueManager_->canEnqueueMessage()) return queueManager_->refuseMessage(event.calls());
  if (KovaLoggingEnabled(kKovaLogLevelDebug)) {
    KovaLogDebug("Logged event with properties:\n%@", event.description());
  }
  auto message = messageBuilder_->mutableMessageForEvent(event);
  if (const auto& recording = event.evCaptureContext()) {
    recording->send(Dictionary(message));
  }
  queueManager_->enqueueMessage(std::move(message), event.calls());
  // The session may have been reset since the capture, and its pageview with it; without another one this
  // event, and all behind it, would wait for the next event. One that still belongs to the session before
  // needs none.
  if (!event.sessionInfo()) injectPageviewsIfNeeded();
}

void KovaTracker::consumeAllLiveTouches() { touchEventCache_->removeAllEntries(); }

// Touches that were waiting when their session began.
void KovaTracker::backfillPendingTouchEventsWithPageview() {
  static constexpr const char* kSelector = "backfillPendingTouchEventsWithPageview";
  if (isRedoing_) return;
  performSafelyOnMainQueueWithBlock(kSelector, [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    auto events = tracker.touchEventCache_->allEvents();
    if (events.empty()) return;
    tracker.performSafelyOnMutationQueueWithBlock(
        kSelector, [events = std::move(events)](KovaTracker& inForce) KOVA_ON_MUTATION_QUEUE {
          for (const auto& event : events) {
            event->applyMissingPropertiesFromSessionManager(*inForce.sessionManager_,
                                                            *inForce.identityManager_);
          }
        });
  });
}
