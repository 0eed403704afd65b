// Custom events, and events forwarded by frameworks that wrap the library.

#include <utility>

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
#include "src/storage/KIWaitingRoom.h"
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
class Properties {
 public:
  Properties() = default;
  // Plain ones are typed on the mutation queue: the caller shall not wait for that.
  explicit Properties(const std::optional<Value>& given) : given_(given) {
    typed_.reset();
    if (!KovaInputTransformer::isPlain(given))
      typed_ = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(given);
  }
  // Noted by an earlier process. What is typed holds dictionaries and nothing else, what is plain none.
  static Properties ofNoted(const Value& noted) {
    Properties properties;
    if (!noted.isDictionary()) return properties;
    const Dictionary& entries = noted.dictionary();
    const bool isTyped = entries.empty() || entries.begin()->second.isDictionary();
    if (!isTyped) return Properties(noted);
    properties.typed_ = entries;
    return properties;
  }

  const std::optional<Value>& given() const { return given_; }
  const Dictionary& noted() const { return typed_ ? *typed_ : given_->dictionary(); }
  Dictionary typed() const {
    return typed_ ? *typed_ : KovaInputTransformer::transmittableDictionaryForPropertyDictionary(given_);
  }

 private:
  std::optional<Value> given_;
  std::optional<Dictionary> typed_ = Dictionary();  // none while they are plain
};

// What the screen in front adds to an event.
struct ActiveScreen {
  std::shared_ptr<const KIEventRecording> recording;  // null when the Event Visualizer is not told
  int appVisibilityState = 0;
  std::string sessionId = {};
  std::optional<Dictionary> pageviewInfo = std::nullopt;  // none where the screen has none in that session
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
  KIMoment moment = {};
  ActiveScreen screen = {};  // on the main thread, until it goes on to the mutation queue
  std::uint64_t call = KICallLog::kNotNoted;
  std::optional<KIWaitingRoom::Seat> seat = std::nullopt;

  void log(const Dictionary& eventProperties) const;
  Dictionary dictionary() const;
};

void KovaTracker::recordCustomEvent(std::string_view name, const std::optional<Value>& properties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent(
      std::make_shared<CustomEvent>(CustomEvent{.fromSelector = "recordCustomEvent:withProperties:",
                                                .kind = kCustomEvent,
                                                .isShownInEventVisualizer = false,
                                                .name = String(name),
                                                .properties = Properties(properties)}));
}

void KovaTracker::recordFrameworkAutocaptureEvent(std::string_view name, std::string_view source,
                                                  const std::optional<Value>& sourceProperties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent(std::make_shared<CustomEvent>(
      CustomEvent{.fromSelector = "recordFrameworkAutocaptureEvent:withSource:sourceProperties:",
                  .kind = kSourceEvent,
                  .isShownInEventVisualizer = true,
                  .name = String(name),
                  .source = String(source),
                  .sourceProperties = Properties(sourceProperties)}));
}

void KovaTracker::recordFrameworkCustomEvent(std::string_view name, const std::optional<Value>& properties,
                                             std::string_view source,
                                             const std::optional<Value>& sourceProperties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled(name);
  trackCustomEvent(std::make_shared<CustomEvent>(
      CustomEvent{.fromSelector = "recordFrameworkCustomEvent:withProperties:source:sourceProperties:",
                  .kind = kSourceCustomEvent,
                  .isShownInEventVisualizer = false,
                  .name = String(name),
                  .properties = Properties(properties),
                  .source = String(source),
                  .sourceProperties = Properties(sourceProperties)}));
}

void KovaTracker::CustomEvent::log(const Dictionary& eventProperties) const {
  if (kind == kCustomEvent) {
    KovaLogDebug("Logged custom event \"%@\" with\n - properties: %@\n - eventProperties: %@", name,
                 properties.given(), eventProperties);
  } else if (kind == kSourceEvent) {
    KovaLogDebug(
        "Logged \"%@\" framework event \"%@\" with\n - source properties: %@\n - eventProperties: %@", source,
        name, sourceProperties.given(), eventProperties);
  } else {
    KovaLogDebug(
        "Logged \"%@\" framework custom event \"%@\" with\n - properties: %@\n - source properties: %@\n - eventProperties: %@",
        source, name, properties.given(), sourceProperties.given(), eventProperties);
  }
}

Dictionary KovaTracker::CustomEvent::dictionary() const {
  MutableDictionary event;
  event.reserve(source ? 4 : 2);
  event.append("type", name);
  if (source) {
    event.append("source", *source);
    event.append(sourcePropertiesKey(), sourceProperties.typed());
  }
  if (Dictionary typed = properties.typed(); !typed.empty())
    event.append(customPropertiesKey(), std::move(typed));
  return Dictionary(std::move(event));
}

// What a call records of its moment; complete when the mutation queue comes to what is queued after it. On
// the main thread the rest of the call is queued before it returns. From elsewhere that goes by way of the
// main queue, and whatever is called meanwhile must not reach back.
void KovaTracker::beginMoment(const std::shared_ptr<CustomEvent>& event) {
  event->moment = KIMoment::now();
  if (Scheduler::current().isMainThread()) return;
  event->call = note(*event, false);
  performSafelyOnMutationQueueLazilyWithBlock(
      event->fromSelector, [event, call = event->call](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
        event->moment.applyMissingPropertiesFromSessionManager(*tracker.sessionManager_,
                                                               *tracker.identityManager_);
        tracker.noteMoment(call, event->moment);
      });
}

void KovaTracker::trackCustomEvent(std::shared_ptr<CustomEvent> event) {
  event->seat = KIWaitingRoom::takeSeat();
  if (!event->seat) {
    queueManager_->refuseMessage();
    return KovaLogDebug("Too many events wait to be stored, ignoring: <%@>", event->name);
  }
  injectPageviewsIfNeeded();
  beginMoment(event);
  const char* const selector = event->fromSelector;
  performSafelyOnMainQueueWithBlock(
      selector, [event = std::move(event)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD mutable {
        tracker.readActiveScreen(*event);
        tracker.consumeCustomEvent(std::move(event));
      });
}

void KovaTracker::consumeCustomEvent(std::shared_ptr<CustomEvent> event) {
  if (event->call == KICallLog::kNotNoted) event->call = note(*event, true);
  const char* const selector = event->fromSelector;
  performSafelyOnMutationQueueSoonWithBlock(
      selector, [event = std::move(event)](KovaTracker& tracker)
                    KOVA_ON_MUTATION_QUEUE { tracker.enqueueCustomEvent(*event); });
}

void KovaTracker::readActiveScreen(CustomEvent& event) {
  ActiveScreen& screen = event.screen;
  if (event.isShownInEventVisualizer) screen.recording = recordingOfScreen();
  screen.appVisibilityState = kova::appVisibilityState(event.fromSelector);
  if (!isViewControllerAutocaptureDisabled()) {
    screen.sessionId = sessionId();
    if (const auto window = KOVA_firstActiveKeyWindow()) {
      screen.pageviewInfo = KOVA_scopedPageviewInfoWithCurrentSessionId(*window, screen.sessionId);
    }
  }
  if (screen.appVisibilityState == kAppVisibilityStateForeground) extendSession();
}

void KovaTracker::enqueueCustomEvent(CustomEvent& event) {
  const std::span<const KICallLog::Number> calls(&event.call, 1);
  if (!queueManager_->canEnqueueMessage()) return queueManager_->refuseMessage(calls);
  KIMoment& moment = event.moment;
  ActiveScreen& screen = event.screen;
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
  // What is done again becomes a batch when all of it is done.
  if (isStopped_ && !isRedoing_) storeLateMessages();
}

// The host has shut down, or has gone on to another environment: nobody else makes a batch of this one's
// messages any more. By way of the main queue, so that all whose calls are on their way there become one.
void KovaTracker::storeLateMessages() {
  if (std::exchange(areLateMessagesOnTheirWay_, true)) return;
  kova::perform(*NSOperationQueue::mainQueue(), *this, "stop", [](KovaTracker& tracker) {
    kova::perform(*tracker.mutationQueue_, tracker, "stop", [](KovaTracker& self) KOVA_ON_MUTATION_QUEUE {
      self.areLateMessagesOnTheirWay_ = false;
      self.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
    });
  });
}

// What the screen adds comes last, when it is known.
std::uint64_t KovaTracker::note(const CustomEvent& event, bool isScreenKnown) const {
  const auto noteWith = [&](const auto&... screen) {
    return note(Call::CustomEvent, std::string_view(event.moment.timestamp), event.kind, event.name.view(),
                event.properties.noted(), event.source ? Value(*event.source) : Value(),
                event.sourceProperties.noted(), screen...);
  };
  const ActiveScreen& screen = event.screen;
  if (!isScreenKnown) return noteWith();
  return noteWith(Value(screen.appVisibilityState), std::string_view(screen.sessionId),
                  screen.pageviewInfo ? Value(*screen.pageviewInfo) : Value());
}

bool KovaTracker::redoCustomEvent(LeftCall call) {
  KIMoment moment = call.momentAt(call.next());
  const Value kind = call.next();
  CustomEvent event{.fromSelector = "redoCustomEvent",
                    .kind = kind.text(),
                    .isShownInEventVisualizer = false,
                    .name = String(call.next().text()),
                    .moment = std::move(moment),
                    .call = call.numbers.front()};
  event.properties = Properties::ofNoted(call.next());
  if (const Value source = call.next(); source.isString()) event.source = source.string();
  event.sourceProperties = Properties::ofNoted(call.next());
  if (const Value visibility = call.next(); visibility.isInteger())
    event.screen.appVisibilityState = static_cast<int>(visibility.integer());
  event.screen.sessionId = call.next().text();
  if (const Value pageview = call.next(); pageview.isDictionary())
    event.screen.pageviewInfo = pageview.dictionary();
  enqueueCustomEvent(event);
  return true;
}
