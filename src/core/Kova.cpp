#include <Kova/Kova.h>

#include "platform/foundation/NSException.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaTracker.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

// The facade's class, as error reports name it.
class FacadeClass : public NSObject {
  NS_OBJECT_NAMED(FacadeClass, NSObject, "Kova")
};

// The safe facade call: nothing once the library has bailed, nothing before it has a tracker, and no
// exception ever.
template <class Call>
void forward(SEL selector, Call&& call) {
  kova::guarded({FacadeClass::classObject(), selector}, [&call] {
    if (const auto tracker = KovaTracker::sharedTracker()) call(*tracker);
  });
}

// The same for a getter; `bailed` is its answer when the library has bailed or fails, `absent` that before
// there is a tracker.
template <class Answer, class Call>
Answer ask(SEL selector, Call&& call, Answer bailed, Answer absent) {
  return kova::guarded(
      {FacadeClass::classObject(), selector},
      [&]() -> Answer {
        const auto tracker = KovaTracker::sharedTracker();
        return tracker ? call(*tracker) : absent;
      },
      bailed);
}

void unsafeInitialize(std::string_view envId, std::shared_ptr<KovaOptions> options) {
  const auto& mutationQueue = KOVA_serialStateQueue();
  if (const auto tracker = KovaTracker::sharedTracker()) {
    tracker->stop();
    // The new tracker loads what the old one is about to store.
    mutationQueue->waitUntilAllOperationsAreFinished();
  }
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
  KovaTracker::setSharedTracker(tracker);
  tracker->start();
}

}  // namespace

std::string Kova::libVersion() { return std::string(KovaLibraryVersion); }

std::optional<std::string> Kova::userId() {
  static const SEL selector("userId");
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      selector, [](KovaTracker& tracker) { return tracker.userId(); }, "", std::nullopt);
}

std::optional<std::string> Kova::identity() {
  static const SEL selector("identity");
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      selector, [](KovaTracker& tracker) { return tracker.identity(); }, std::nullopt, std::nullopt);
}

std::optional<std::string> Kova::sessionId() {
  static const SEL selector("sessionId");
  using Answer = std::optional<std::string>;
  return ask<Answer>(
      selector, [](KovaTracker& tracker) { return tracker.sessionId(); }, std::nullopt, std::nullopt);
}

void Kova::initialize(std::string_view envId) { initialize(envId, nullptr); }

void Kova::initialize(std::string_view envId, std::shared_ptr<KovaOptions> options) {
  static const SEL selector("initialize:withOptions:");
  if (std::string message; !KovaTracker::isValidAppId(envId, message)) {
    KovaLogDebug("%@", message);
    // The one failure that is meant to reach the host: the app cannot have been run with this id before.
    handleFailureInMethod("+[Kova initialize:withOptions:]", "Kova", 59, message);
  }
  kova::guarded({FacadeClass::classObject(), selector}, [&] {
    unsafeInitialize(envId, options ? std::move(options) : std::make_shared<KovaOptions>());
  });
}

void Kova::instrumentAutocaptureWithOptions(const KovaOptions& options) {
  static const SEL selector("instrumentAutocaptureWithOptions:");
  kova::guarded({FacadeClass::classObject(), selector},
                [&] { KovaTracker::instrumentAutocaptureWithOptions(options); });
}

void Kova::handleOpenURL(const NSURL& url, const Dictionary&) {
  static const SEL selector("handleOpenURL:options:");
  forward(selector, [&](KovaTracker& tracker) { tracker.handleOpenURL(url); });
}

void Kova::handleOpenURLContexts(std::span<const UIOpenURLContext> contexts) {
  static const SEL selector("handleOpenURLContexts:");
  forward(selector, [&](KovaTracker& tracker) {
    for (const UIOpenURLContext& context : contexts) tracker.handleOpenURL(context.URL());
  });
}

void Kova::startEVPairing() {
  static const SEL selector("startEVPairing");
  forward(selector, [](KovaTracker& tracker) { tracker.startEVPairing(); });
}

void Kova::stopEVPairing() {
  static const SEL selector("stopEVPairing");
  forward(selector, [](KovaTracker& tracker) { tracker.stopEVPairing(); });
}

void Kova::stopDebug() {
  static const SEL selector("stopDebug");
  kova::guarded({FacadeClass::classObject(), selector}, [] { KovaLogger::sharedInstance().setLogLevel(0); });
}

void Kova::setTrackingEnabled(bool enabled) {
  static const SEL selector("setTrackingEnabled:");
  forward(selector, [enabled](KovaTracker& tracker) { tracker.setTrackingEnabled(enabled); });
}

bool Kova::isTrackingEnabled() {
  static const SEL selector("isTrackingEnabled");
  return ask(
      selector, [](KovaTracker& tracker) { return tracker.isTrackingEnabled(); }, false, false);
}

void Kova::changeInterval(double seconds) {
  static const SEL selector("changeInterval:");
  forward(selector, [seconds](KovaTracker& tracker) { tracker.setUploadInterval(seconds); });
}

void Kova::track(std::string_view event) {
  static const SEL selector("track:");
  forward(selector, [event](KovaTracker& tracker) { tracker.recordCustomEvent(event, std::nullopt); });
}

void Kova::track(std::string_view event, const Value& properties) {
  static const SEL selector("track:withProperties:");
  forward(selector, [&](KovaTracker& tracker) { tracker.recordCustomEvent(event, properties); });
}

void Kova::frameworkAutocaptureEvent(std::string_view event, std::string_view source,
                                     const Value& sourceProperties) {
  static const SEL selector("frameworkAutocaptureEvent:withSource:withSourceProperties:");
  forward(selector, [&](KovaTracker& tracker) {
    tracker.recordFrameworkAutocaptureEvent(event, source, sourceProperties);
  });
}

void Kova::frameworkTrack(std::string_view event, const Value& properties, std::string_view source,
                          const Value& sourceProperties) {
  static const SEL selector("frameworkTrack:withProperties:withSource:withSourceProperties:");
  forward(selector, [&](KovaTracker& tracker) {
    tracker.recordFrameworkCustomEvent(event, properties, source, sourceProperties);
  });
}

void Kova::identify(const Value& identity) {
  static const SEL selector("identify:");
  forward(selector, [&](KovaTracker& tracker) { tracker.identify(identity); });
}

void Kova::resetIdentity() {
  static const SEL selector("resetIdentity");
  forward(selector, [](KovaTracker& tracker) { tracker.resetIdentity(); });
}

void Kova::addUserProperties(const Value& properties) {
  static const SEL selector("addUserProperties:");
  forward(selector, [&](KovaTracker& tracker) { tracker.addUserProperties(properties); });
}

void Kova::addEventProperties(const Value& properties) {
  static const SEL selector("addEventProperties:");
  forward(selector, [&](KovaTracker& tracker) { tracker.addEventProperties(properties); });
}

void Kova::removeEventProperty(std::string_view name) {
  static const SEL selector("removeEventProperty:");
  forward(selector, [name](KovaTracker& tracker) { tracker.removeEventProperty(name); });
}

void Kova::clearEventProperties() {
  static const SEL selector("clearEventProperties");
  forward(selector, [](KovaTracker& tracker) { tracker.clearEventProperties(); });
}
