// Custom events, and events forwarded by frameworks that wrap the library.

#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIWindow.h"
#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaUtil.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/visualizer/KovaEventRecording.h"

using namespace platform;

namespace {

// Longer than a Value holds in place, and in every event of their kind.
const Value& customPropertiesKey() {
  static const Value& key = *new Value("customProperties");
  return key;
}

const Value& sourcePropertiesKey() {
  static const Value& key = *new Value("sourceProperties");
  return key;
}

// The screen that the user has before him, as a session knows it.
struct ActiveScreen {
  std::string sessionId;
  std::optional<Dictionary> pageviewInfo;  // none where the screen has none in that session

  static ActiveScreen of(std::string sessionId) {
    const auto window = KOVA_firstActiveKeyWindow();
    auto info = window ? KOVA_scopedPageviewInfoWithCurrentSessionId(*window, sessionId) : std::nullopt;
    return {std::move(sessionId), std::move(info)};
  }
};

// The id of a session that has a pageview.
std::optional<std::string> sessionIdOf(const KIMoment& moment) {
  const Value* id = moment.sessionInfo ? moment.sessionInfo->find("id") : nullptr;
  return id ? std::optional(std::string(id->text())) : std::nullopt;
}

}  // namespace

void KovaTracker::recordCustomEvent(std::string_view name, const std::optional<Value>& properties) {
  static const SEL selector("recordCustomEvent:withProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEventWithKind(
      "customEvent", EventVisualizer::Skip,
      [name = String(name), properties,
       typed = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties)](
          const Dictionary& eventProperties) {
        KovaLogDebug("Logged custom event \"%@\" with\n - properties: %@\n - eventProperties: %@", name,
                     properties, eventProperties);
        MutableDictionary event;
        event.reserve(2);
        event.append("type", name);
        if (!typed.empty()) event.append(customPropertiesKey(), typed);
        return Dictionary(std::move(event));
      },
      selector);
}

void KovaTracker::recordFrameworkAutocaptureEvent(std::string_view name, std::string_view source,
                                                  const std::optional<Value>& sourceProperties) {
  static const SEL selector("recordFrameworkAutocaptureEvent:withSource:sourceProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEventWithKind(
      "sourceEvent", EventVisualizer::Send,
      [name = String(name), source = String(source), sourceProperties,
       typed = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(sourceProperties)](
          const Dictionary& eventProperties) {
        KovaLogDebug(
            "Logged \"%@\" framework event \"%@\" with\n - source properties: %@\n - eventProperties: %@",
            source, name, sourceProperties, eventProperties);
        return Dictionary{{"type", name}, {"source", source}, {sourcePropertiesKey(), typed}};
      },
      selector);
}

void KovaTracker::recordFrameworkCustomEvent(std::string_view name, const std::optional<Value>& properties,
                                             std::string_view source,
                                             const std::optional<Value>& sourceProperties) {
  static const SEL selector("recordFrameworkCustomEvent:withProperties:source:sourceProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEventWithKind(
      "sourceCustomEvent", EventVisualizer::Skip,
      [name = String(name), source = String(source), properties, sourceProperties,
       typed = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties),
       typedSource = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(sourceProperties)](
          const Dictionary& eventProperties) {
        KovaLogDebug(
            "Logged \"%@\" framework custom event \"%@\" with\n - properties: %@\n - source properties: %@\n - eventProperties: %@",
            source, name, properties, sourceProperties, eventProperties);
        MutableDictionary event{{"type", name}, {"source", source}, {sourcePropertiesKey(), typedSource}};
        if (!typed.empty()) event.append(customPropertiesKey(), typed);
        return Dictionary(std::move(event));
      },
      selector);
}

// What a call records of its moment; complete when the mutation queue comes to what is queued after it. On
// the main thread the rest of the call is queued before it returns. From elsewhere that goes by way of the
// main queue, and whatever is called meanwhile must not reach back.
std::shared_ptr<KIMoment> KovaTracker::momentOfCall(SEL fromSelector) {
  auto moment = std::make_shared<KIMoment>(KIMoment::now());
  if (Scheduler::current().isMainThread()) return moment;
  performSafelyOnMutationQueueLazilyWithBlock(
      [moment](KovaTracker& tracker) {
        moment->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
      },
      *this, fromSelector);
  return moment;
}

// The road that all of them share: what the screen tells is read on the main thread, the message is built and
// queued on the mutation queue.
template <class Builder>
void KovaTracker::trackCustomEventWithKind(std::string_view kind, EventVisualizer eventVisualizer,
                                           Builder eventDictionaryBuilder, SEL fromSelector) {
  injectPageviewsIfNeeded();
  performSafelyOnMainQueueWithBlock(
      [kind, eventVisualizer, fromSelector, moment = momentOfCall(fromSelector),
       build = std::move(eventDictionaryBuilder)](KovaTracker& tracker) mutable {
        auto recording = tracker.recordingOfScreen(eventVisualizer);
        const int appVisibilityState = KovaUtil::appVisibilityState(fromSelector);
        auto screen = tracker.isViewControllerAutocaptureDisabled() ? ActiveScreen()
                                                                    : ActiveScreen::of(tracker.sessionId());
        if (appVisibilityState == kAppVisibilityStateForeground) tracker.extendSession();
        tracker.performSafelyOnMutationQueueWithBlock(
            [kind, appVisibilityState, moment = std::move(moment), screen = std::move(screen),
             build = std::move(build), recording = std::move(recording)](KovaTracker& self) mutable {
              if (!self.queueManager_->canEnqueueMessage()) return;
              moment->applyMissingPropertiesFromSessionManager(*self.sessionManager_, *self.identityManager_);
              // The screen's pageview of another session than the event's is not the event's.
              const std::string session = sessionIdOf(*moment).value_or(self.sessionId());
              if (screen.pageviewInfo && screen.sessionId == session) {
                moment->pageviewInfo = std::move(screen.pageviewInfo);
              }
              auto message = self.messageBuilder_->mutableMessageWithEventDictionary(
                  build(*moment->eventProperties), kind, appVisibilityState, *moment);
              const Dictionary shown = recording ? Dictionary(message) : Dictionary();
              self.queueManager_->enqueueMessage(std::move(message));
              if (recording) recording->send(shown);
              // The session may have been reset since the host's call, and its pageview with it; without
              // another one this event, and all behind it, would wait for the next event.
              self.injectPageviewsIfNeeded();
              // The host has gone on to another environment: nobody else stores this one's messages any more.
              if (self.isStopped_) self.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
            },
            tracker, fromSelector);
      },
      *this, fromSelector);
}
