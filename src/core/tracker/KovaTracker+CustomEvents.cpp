// Custom events, and events forwarded by frameworks that wrap the library.

#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIWindow.h"
#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker+Calls.h"
#include "src/events/KIEventRecording.h"
#include "src/events/KIMoment.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr std::string_view kCustomEvent = "customEvent";
constexpr std::string_view kSourceEvent = "sourceEvent";
constexpr std::string_view kSourceCustomEvent = "sourceCustomEvent";

// In every event of their kind, and too long to lie within a Value: made once and shared.
const Value& customPropertiesKey() {
  static const Value& key = *new Value("customProperties");
  return key;
}

const Value& sourcePropertiesKey() {
  static const Value& key = *new Value("sourceProperties");
  return key;
}

// The id of a session that has a pageview.
std::optional<std::string> sessionIdOf(const KIMoment& moment) {
  const Value* id = moment.sessionInfo ? moment.sessionInfo->find("id") : nullptr;
  return id ? std::optional(std::string(id->text())) : std::nullopt;
}

// The host's properties, as given and as sent.
struct Properties {
  Properties() = default;
  explicit Properties(const std::optional<Value>& properties)
      : given(properties),
        typed(KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties)) {}

  std::optional<Value> given;
  Dictionary typed;
};

}  // namespace

struct KovaTracker::CustomEvent {
  const char* fromSelector;
  std::string_view kind;
  bool isShownInEventVisualizer;
  String name;
  Properties properties = {};
  std::optional<String> source = std::nullopt;  // the framework that forwards the event
  Properties sourceProperties = {};
  std::shared_ptr<KIMoment> moment = nullptr;
  std::uint64_t call = KICallLog::kNotNoted;

  void log(const Dictionary& eventProperties) const;
  Dictionary dictionary() const;
};

struct KovaTracker::ActiveScreen {
  std::shared_ptr<const KIEventRecording> recording;  // null when the Event Visualizer is not told
  int appVisibilityState;
  std::string sessionId = {};
  std::optional<Dictionary> pageviewInfo = std::nullopt;  // none where the screen has none in that session
};

void KovaTracker::recordCustomEvent(std::string_view name, const std::optional<Value>& properties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent({.fromSelector = "recordCustomEvent:withProperties:",
                    .kind = kCustomEvent,
                    .isShownInEventVisualizer = false,
                    .name = String(name),
                    .properties = Properties(properties)});
}

void KovaTracker::recordFrameworkAutocaptureEvent(std::string_view name, std::string_view source,
                                                  const std::optional<Value>& sourceProperties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent({.fromSelector = "recordFrameworkAutocaptureEvent:withSource:sourceProperties:",
                    .kind = kSourceEvent,
                    .isShownInEventVisualizer = true,
                    .name = String(name),
                    .source = String(source),
                    .sourceProperties = Properties(sourceProperties)});
}

void KovaTracker::recordFrameworkCustomEvent(std::string_view name, const std::optional<Value>& properties,
                                             std::string_view source,
                                             const std::optional<Value>& sourceProperties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent({.fromSelector = "recordFrameworkCustomEvent:withProperties:source:sourceProperties:",
                    .kind = kSourceCustomEvent,
                    .isShownInEventVisualizer = false,
                    .name = String(name),
                    .properties = Properties(properties),
                    .source = String(source),
                    .sourceProperties = Properties(sourceProperties)});
}

void KovaTracker::CustomEvent::log(const Dictionary& eventProperties) const {
  if (kind == kCustomEvent) {
    KovaLogDebug("Logged custom event \"%@\" with\n - properties: %@\n - eventProperties: %@", name,
                 properties.given, eventProperties);
  } else if (kind == kSourceEvent) {
    KovaLogDebug(
        "Logged \"%@\" framework event \"%@\" with\n - source properties: %@\n - eventProperties: %@", source,
        name, sourceProperties.given, eventProperties);
  } else {
    KovaLogDebug(
        "Logged \"%@\" framework custom event \"%@\" with\n - properties: %@\n - source properties: %@\n - eventProperties: %@",
        source, name, properties.given, sourceProperties.given, eventProperties);
  }
}

Dictionary KovaTracker::CustomEvent::dictionary() const {
  MutableDictionary event;
  event.reserve(source ? 4 : 2);
  event.append("type", name);
  if (source) {
    event.append("source", *source);
    event.append(sourcePropertiesKey(), sourceProperties.typed);
  }
  if (!properties.typed.empty()) event.append(customPropertiesKey(), properties.typed);
  return Dictionary(std::move(event));
}

// What a call records of its moment; complete when the mutation queue comes to what is queued after it. On
// the main thread the rest of the call is queued before it returns. From elsewhere that goes by way of the
// main queue, and whatever is called meanwhile must not reach back.
void KovaTracker::beginMoment(CustomEvent& event) {
  event.moment = std::make_shared<KIMoment>(KIMoment::now());
  if (Scheduler::current().isMainThread()) return;
  event.call = note(event, nullptr);
  performSafelyOnMutationQueueLazilyWithBlock(
      event.fromSelector,
      [moment = event.moment, call = event.call](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
        moment->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
        tracker.noteMoment(call, *moment);
      });
}

void KovaTracker::trackCustomEvent(CustomEvent event) {
  injectPageviewsIfNeeded();
  const char* const selector = event.fromSelector;
  beginMoment(event);
  performSafelyOnMainQueueWithBlock(
      selector, [event = std::move(event)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD mutable {
        auto screen = tracker.readActiveScreen(event);
        tracker.consumeCustomEvent(std::move(event), std::move(screen));
      });
}

void KovaTracker::consumeCustomEvent(CustomEvent event, ActiveScreen screen) {
  if (event.call == KICallLog::kNotNoted) event.call = note(event, &screen);
  const char* const selector = event.fromSelector;
  performSafelyOnMutationQueueSoonWithBlock(
      selector, [event = std::move(event), screen = std::move(screen)](KovaTracker& tracker)
                    KOVA_ON_MUTATION_QUEUE mutable { tracker.enqueueCustomEvent(event, std::move(screen)); });
}

KovaTracker::ActiveScreen KovaTracker::readActiveScreen(const CustomEvent& event) {
  ActiveScreen screen{event.isShownInEventVisualizer ? recordingOfScreen() : nullptr,
                      kova::appVisibilityState(event.fromSelector)};
  if (!isViewControllerAutocaptureDisabled()) {
    screen.sessionId = sessionId();
    if (const auto window = KOVA_firstActiveKeyWindow()) {
      screen.pageviewInfo = KOVA_scopedPageviewInfoWithCurrentSessionId(*window, screen.sessionId);
    }
  }
  if (screen.appVisibilityState == kAppVisibilityStateForeground) extendSession();
  return screen;
}

void KovaTracker::enqueueCustomEvent(const CustomEvent& event, ActiveScreen screen) {
  const std::span<const KICallLog::Number> calls(&event.call, 1);
  if (!queueManager_->canEnqueueMessage()) return queueManager_->refuseMessage(calls);
  KIMoment& moment = *event.moment;
  moment.applyMissingPropertiesFromSessionManager(*sessionManager_, *identityManager_);
  // A pageview that the screen got in another session does not belong to the event.
  const std::string session = sessionIdOf(moment).value_or(sessionId());
  if (screen.pageviewInfo && screen.sessionId == session)
    moment.pageviewInfo = std::move(screen.pageviewInfo);
  if (!isRedoing_) event.log(*moment.eventProperties);
  auto message = messageBuilder_->mutableMessageWithEventDictionary(event.dictionary(), event.kind,
                                                                    screen.appVisibilityState, moment);
  const Dictionary shown = screen.recording ? Dictionary(message) : Dictionary();
  queueManager_->enqueueMessage(std::move(message), calls);
  if (screen.recording) screen.recording->send(shown);
  // The session may have been reset since the host's call, and its pageview with it; without another one this
  // event, and all behind it, would wait for the next event.
  injectPageviewsIfNeeded();
  // The host has gone on to another environment: nobody else stores this one's messages any more.
  if (isStopped_) queueManager_->moveEnqueuedMessagesToBatchAndPersist();
}

// The screen, null when it is not known yet, comes last.
std::uint64_t KovaTracker::note(const CustomEvent& event, const ActiveScreen* screen) const {
  const std::string_view timestamp = event.moment->timestamp;
  const Value source = event.source ? Value(*event.source) : Value();
  if (!screen) {
    return note(Call::CustomEvent, timestamp, event.kind, event.name.view(), event.properties.typed, source,
                event.sourceProperties.typed);
  }
  return note(Call::CustomEvent, timestamp, event.kind, event.name.view(), event.properties.typed, source,
              event.sourceProperties.typed, Value(screen->appVisibilityState),
              std::string_view(screen->sessionId),
              screen->pageviewInfo ? Value(*screen->pageviewInfo) : Value());
}

bool KovaTracker::redoCustomEvent(LeftCall call) {
  auto moment = std::make_shared<KIMoment>(call.momentAt(call.next()));
  const Value kind = call.next();
  CustomEvent event{.fromSelector = "redoCustomEvent",
                    .kind = kind.text(),
                    .isShownInEventVisualizer = false,
                    .name = String(call.next().text()),
                    .moment = std::move(moment),
                    .call = call.numbers.front()};
  if (const Value properties = call.next(); properties.isDictionary())
    event.properties.typed = properties.dictionary();
  if (const Value source = call.next(); source.isString()) event.source = source.string();
  if (const Value properties = call.next(); properties.isDictionary())
    event.sourceProperties.typed = properties.dictionary();
  const Value visibility = call.next();
  ActiveScreen screen{nullptr, visibility.isInteger() ? static_cast<int>(visibility.integer()) : 0};
  screen.sessionId = call.next().text();
  if (const Value pageview = call.next(); pageview.isDictionary())
    screen.pageviewInfo = pageview.dictionary();
  enqueueCustomEvent(event, std::move(screen));
  return true;
}
