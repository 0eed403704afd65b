// Custom events, and events forwarded by frameworks that wrap the library.

#include "platform/uikit/UIWindow.h"
#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaTracker.h"
#include "src/events/KovaUtil.h"
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

// Of the screen that the user has before him; nothing where that has none in this session.
std::optional<Dictionary> pageviewInfoOfActiveScreen(const std::string& sessionId) {
  const auto window = KOVA_firstActiveKeyWindow();
  return window ? KOVA_scopedPageviewInfoWithCurrentSessionId(*window, sessionId) : std::nullopt;
}

}  // namespace

void KovaTracker::recordCustomEvent(std::string_view name, const std::optional<Value>& properties) {
  static const SEL selector("recordCustomEvent:withProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEventWithKind(
      "customEvent", EventVisualizer::Skip,
      [name = String(name), properties,
       typed = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties)](
          KovaTracker& tracker) {
        KovaLogDebug("Logged custom event \"%@\" with\n - properties: %@\n - eventProperties: %@", name,
                     properties, tracker.identityManager_->eventProperties());
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
          KovaTracker& tracker) {
        KovaLogDebug(
            "Logged \"%@\" framework event \"%@\" with\n - source properties: %@\n - eventProperties: %@",
            source, name, sourceProperties, tracker.identityManager_->eventProperties());
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
          KovaTracker& tracker) {
        KovaLogDebug(
            "Logged \"%@\" framework custom event \"%@\" with\n - properties: %@\n - source properties: %@\n "
            "- "
            "eventProperties: %@",
            source, name, properties, sourceProperties, tracker.identityManager_->eventProperties());
        MutableDictionary event{{"type", name}, {"source", source}, {sourcePropertiesKey(), typedSource}};
        if (!typed.empty()) event.append(customPropertiesKey(), typed);
        return Dictionary(std::move(event));
      },
      selector);
}

// The road that all of them share: what the screen tells is read on the main thread, the message is built and
// queued on the mutation queue.
template <class Builder>
void KovaTracker::trackCustomEventWithKind(std::string_view kind, EventVisualizer eventVisualizer,
                                           Builder eventDictionaryBuilder, SEL fromSelector) {
  injectPageviewsIfNeeded();
  performSafelyOnMainQueueWithBlock(
      [kind, eventVisualizer, fromSelector,
       build = std::move(eventDictionaryBuilder)](KovaTracker& tracker) mutable {
        auto recording = tracker.recordingOfScreen(eventVisualizer);
        const int appVisibilityState = KovaUtil::appVisibilityState(fromSelector);
        auto pageviewInfo = tracker.isViewControllerAutocaptureDisabled()
                                ? std::nullopt
                                : pageviewInfoOfActiveScreen(tracker.sessionId());
        if (appVisibilityState == kAppVisibilityStateForeground) tracker.extendSession();
        tracker.performSafelyOnMutationQueueWithBlock(
            [kind, appVisibilityState, pageviewInfo = std::move(pageviewInfo), build = std::move(build),
             recording = std::move(recording)](KovaTracker& self) mutable {
              if (!self.queueManager_->canEnqueueMessage()) return;
              auto message = self.messageBuilder_->mutableMessageWithEventDictionary(
                  build(self), kind, appVisibilityState, pageviewInfo);
              const Dictionary shown = recording ? Dictionary(message) : Dictionary();
              self.queueManager_->enqueueMessage(std::move(message));
              if (recording) recording->send(shown);
              // The session may have been reset since the host's call, and its pageview with it; without
              // another one this event, and all behind it, would wait for the next event.
              self.injectPageviewsIfNeeded();
            },
            tracker, fromSelector);
      },
      *this, fromSelector);
}
