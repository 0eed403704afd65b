#include <Kova/Kova.h>

#include <algorithm>
#include <atomic>

#include "platform/foundation/NSException.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/NotCancelled.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/core/tracker/Kova+Host.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/storage/KICounters.h"

using namespace platform;

namespace {

// The safe facade call: nothing once the library has bailed, nothing before it has a tracker, and no
// exception ever. A thread that is cancelled ends its call first.
template <class Call>
void forward(const char* selector, Call&& call) {
  const NotCancelled whole;
  kova::guarded({"Kova", selector}, [&call] {
    if (const auto tracker = KovaTracker::sharedTracker()) call(*tracker);
  });
}

// The same for a call that needs texts: without one of them it does nothing but say so.
template <class Call>
void forwardWithTexts(const char* selector, std::initializer_list<KovaText> texts, Call&& call) {
  forward(selector, [&](KovaTracker& tracker) {
    if (std::none_of(texts.begin(), texts.end(), [](KovaText text) { return text.isNil(); }))
      return call(tracker);
    KovaLogDebug("Called +[Kova %@] without a name. The call is left out.", selector);
  });
}

// The same for a getter; `bailed` is its answer when the library has bailed or fails, `absent` that before
// there is a tracker.
template <class Answer, class Call>
Answer ask(const char* selector, Call&& call, Answer bailed, Answer absent) {
  const NotCancelled whole;
  return kova::guarded(
      {"Kova", selector},
      [&]() -> Answer {
        const auto tracker = KovaTracker::sharedTracker();
        return tracker ? call(*tracker) : absent;
      },
      bailed);
}

std::atomic<bool> wasShutDown = false;

// The figures of the tracker that was shut down: answers may still come in for it.
struct LastCounters {
  Mutex mutex;
  std::shared_ptr<const KICounters> counters PLATFORM_GUARDED_BY(mutex);
};

LastCounters& lastCounters() {
  static LastCounters& instance = *new LastCounters;
  return instance;
}

void setLastCounters(std::shared_ptr<const KICounters> counters) {
  const MutexLock lock(lastCounters().mutex);
  lastCounters().counters = std::move(counters);
}

KovaStatus lastStatus() {
  const MutexLock lock(lastCounters().mutex);
  return lastCounters().counters ? lastCounters().counters->status() : KovaStatus{};
}

// The next start waits for what this tracker has queued.
void stop(KovaTracker& tracker) {
  wasShutDown = true;
  if (KovaTracker::clearSharedTracker(tracker)) tracker.stop("");
}

void unsafeInitialize(std::string_view envId, std::shared_ptr<KovaOptions> options) {
  const auto& mutationQueue = KOVA_serialStateQueue();
  const auto previous = KovaTracker::sharedTracker();
  if (previous) previous->stop(envId);
  // The new tracker loads what the old one, or one that was shut down, is about to store. What is held is not
  // waited for.
  if (previous || wasShutDown) mutationQueue->waitForAddedOperations();
  KovaLogger& logger = KovaLogger::sharedInstance();
  if (options->testOnlyVerbose()) {
    logger.setLogLevel(kKovaLogLevelVerbose);
    KovaLog("Started verbose logging (library version %@)", Kova::libVersion());
  } else if (options->debug()) {
    logger.setLogLevel(kKovaLogLevelDebug);
    KovaLog("Started debug logging (library version %@)", Kova::libVersion());
  }
  KovaLogDebug("Updating Kova app ID to %@", envId);
  const auto tracker = std::make_shared<KovaTracker>(envId, std::move(options), mutationQueue);
  kova::mainThread.isHere();  // hosts initialise there
  if (previous) tracker->takeOverTouchesOf(*previous);
  setLastCounters(nullptr);
  KovaTracker::setSharedTracker(tracker);
  tracker->start();
}

}  // namespace

void kova::stopSharedTracker() {
  setLastCounters(nullptr);
  if (const auto tracker = KovaTracker::sharedTracker()) stop(*tracker);
}

std::string Kova::libVersion() { return std::string(KovaLibraryVersion); }

std::optional<std::string> Kova::userId() {
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      "userId", [](KovaTracker& tracker) { return tracker.userId(); }, "", std::nullopt);
}

std::optional<std::string> Kova::identity() {
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      "identity", [](KovaTracker& tracker) { return tracker.identity(); }, std::nullopt, std::nullopt);
}

std::optional<std::string> Kova::sessionId() {
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      "sessionId", [](KovaTracker& tracker) { return tracker.sessionId(); }, std::nullopt, std::nullopt);
}

void Kova::initialize(KovaText envId) { initialize(envId, nullptr); }

void Kova::initialize(KovaText envId, std::shared_ptr<KovaOptions> options) {
  if (std::string message; !KovaTracker::isValidAppId(envId.view(), message)) {
    KovaLogDebug("%@", message);
    // The one failure that is meant to reach the host: the app cannot have been run with this id before.
    handleFailureInMethod("+[Kova initialize:withOptions:]", "Kova", 59, message);
  }
  kova::onThreadOfHost([&] {
    kova::guarded({"Kova", "initialize:withOptions:"}, [&] {
      unsafeInitialize(envId.view(), options ? std::move(options) : std::make_shared<KovaOptions>());
    });
  });
}

void Kova::instrumentAutocaptureWithOptions(const KovaOptions& options) {
  kova::onThreadOfHost([&] {
    kova::guarded({"Kova", "instrumentAutocaptureWithOptions:"},
                  [&] { KovaTracker::instrumentAutocaptureWithOptions(options); });
  });
}

void Kova::handleOpenURL(const NSURL& url, const Dictionary&) {
  forward("handleOpenURL:options:", [&](KovaTracker& tracker) { tracker.handleOpenURL(url); });
}

void Kova::handleOpenURLContexts(std::span<const UIOpenURLContext> contexts) {
  forward("handleOpenURLContexts:", [&](KovaTracker& tracker) {
    for (const UIOpenURLContext& context : contexts) tracker.handleOpenURL(context.URL());
  });
}

void Kova::startEVPairing() {
  forward("startEVPairing", [](KovaTracker& tracker) { tracker.startEVPairing(); });
}

void Kova::stopEVPairing() {
  forward("stopEVPairing", [](KovaTracker& tracker) { tracker.stopEVPairing(); });
}

void Kova::stopDebug() {
  kova::guarded({"Kova", "stopDebug"}, [] { KovaLogger::sharedInstance().setLogLevel(0); });
}

void Kova::setTrackingEnabled(bool enabled) {
  forward("setTrackingEnabled:", [enabled](KovaTracker& tracker) { tracker.setTrackingEnabled(enabled); });
}

bool Kova::hasFailed() {
  return kova::guarded(
      {"Kova", "hasFailed"}, [] { return false; }, true);
}

bool Kova::isTrackingEnabled() {
  return ask(
      "isTrackingEnabled", [](KovaTracker& tracker) { return tracker.isTrackingEnabled(); }, false, false);
}

void Kova::changeInterval(double seconds) {
  forward("changeInterval:", [seconds](KovaTracker& tracker) { tracker.setUploadInterval(seconds); });
}

KovaFlushed Kova::flush(double seconds) {
  return ask<KovaFlushed>("flush:", [seconds](KovaTracker& tracker) { return tracker.flush(seconds); }, {},
                          {});
}

KovaStatus Kova::status() {
  return kova::guarded(
      {"Kova", "status"},
      [] {
        const auto tracker = KovaTracker::sharedTracker();
        return tracker ? tracker->counters()->status() : lastStatus();
      },
      KovaStatus{});
}

KovaFlushed Kova::shutdown(double seconds) {
  const auto shutDown = [seconds](KovaTracker& tracker) {
    const KovaFlushed flushed = tracker.flush(seconds);
    setLastCounters(tracker.counters());
    stop(tracker);
    return flushed;
  };
  return ask<KovaFlushed>("shutdown:", shutDown, {}, {});
}

void Kova::track(KovaText event) {
  forwardWithTexts("track:", {event},
                   [&](KovaTracker& tracker) { tracker.recordCustomEvent(event.view(), std::nullopt); });
}

void Kova::track(KovaText event, const KovaProperties& properties) {
  forwardWithTexts("track:withProperties:", {event}, [&](KovaTracker& tracker) {
    tracker.recordCustomEvent(event.view(), properties.value());
  });
}

void Kova::frameworkAutocaptureEvent(KovaText event, KovaText source,
                                     const KovaProperties& sourceProperties) {
  forwardWithTexts("frameworkAutocaptureEvent:withSource:withSourceProperties:", {event, source},
                   [&](KovaTracker& tracker) {
                     tracker.recordFrameworkAutocaptureEvent(event.view(), source.view(),
                                                             sourceProperties.value());
                   });
}

void Kova::frameworkTrack(KovaText event, const KovaProperties& properties, KovaText source,
                          const KovaProperties& sourceProperties) {
  forwardWithTexts("frameworkTrack:withProperties:withSource:withSourceProperties:", {event, source},
                   [&](KovaTracker& tracker) {
                     tracker.recordFrameworkCustomEvent(event.view(), properties.value(), source.view(),
                                                        sourceProperties.value());
                   });
}

void Kova::identify(const Value& identity) {
  forward("identify:", [&](KovaTracker& tracker) { tracker.identify(identity); });
}

void Kova::resetIdentity() {
  forward("resetIdentity", [](KovaTracker& tracker) { tracker.resetIdentity(); });
}

void Kova::addUserProperties(const KovaProperties& properties) {
  forward("addUserProperties:", [&](KovaTracker& tracker) { tracker.addUserProperties(properties.value()); });
}

void Kova::addEventProperties(const KovaProperties& properties) {
  forward("addEventProperties:",
          [&](KovaTracker& tracker) { tracker.addEventProperties(properties.value()); });
}

void Kova::removeEventProperty(KovaText name) {
  forwardWithTexts("removeEventProperty:", {name},
                   [&](KovaTracker& tracker) { tracker.removeEventProperty(name.view()); });
}

void Kova::clearEventProperties() {
  forward("clearEventProperties", [](KovaTracker& tracker) { tracker.clearEventProperties(); });
}
