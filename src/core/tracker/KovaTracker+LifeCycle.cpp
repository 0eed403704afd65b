// From the making of a tracker to its end, with the application on its way to the background and back, and
// the session.

#include <Kova/KovaOptions.h>

#include <mutex>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIDevice.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/autocapture/KITouchEventCache.h"
#include "src/core/KovaEndpoints.h"
#include "src/core/KovaLogger.h"
#include "src/core/tracker/KIEVTriggerDetection.h"
#include "src/core/tracker/KovaTracker+Perform.h"
#include "src/events/KovaAppProperties.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/events/KovaRequestBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/identity/KISessionTimer.h"
#include "src/storage/KovaSharedURLSession.h"
#include "src/storage/KovaUploader.h"
#include "src/storage/store/OneAnEnvironment.h"
#include "src/telemetry/KITelemetry.h"
#include "src/visualizer/KovaEventVisualizer.h"
#include "src/visualizer/KovaOpenURLParser.h"

using namespace platform;

namespace {

// A store is reset when it holds this much, more URLs than are ever queued.
constexpr std::size_t kPurgedUrlLimit = 300;
constexpr KovaQueueManager::Limits kQueueLimits{200, 300, 200};
constexpr double kCacheDurationAfterTouchCompletion = 0.25;  // seconds
constexpr double kMaximumTouchCacheDuration = 10.0;          // seconds

struct SharedTracker {
  Mutex mutex;
  std::shared_ptr<KovaTracker> tracker PLATFORM_GUARDED_BY(mutex);
};

SharedTracker& shared() {
  static SharedTracker& instance = *new SharedTracker;
  return instance;
}

}  // namespace

std::shared_ptr<KovaTracker> KovaTracker::sharedTracker() {
  const MutexLock lock(shared().mutex);
  return shared().tracker;
}

void KovaTracker::setSharedTracker(std::shared_ptr<KovaTracker> tracker) {
  {
    const MutexLock lock(shared().mutex);
    shared().tracker.swap(tracker);
  }
  // The previous tracker is released here, outside the lock.
}

bool KovaTracker::clearSharedTracker(const KovaTracker& tracker) {
  std::shared_ptr<KovaTracker> cleared;  // released after the lock
  const MutexLock lock(shared().mutex);
  if (shared().tracker.get() != &tracker) return false;
  cleared.swap(shared().tracker);
  return true;
}

bool KovaTracker::isValidAppId(std::string_view appId, std::string& message) {
  if (appId.empty()) {
    message = "Kova envId cannot be empty";
  } else if (appId.find_first_not_of("0123456789") != std::string_view::npos) {
    message = "Kova envId must be a numerical value";
  } else if (appId.front() == '0') {
    message = "Kova envId must not start with a zero.";
  } else {
    return true;
  }
  return false;
}

// What a tracker works on: a place, and who is in it.
struct KovaTracker::Parts {
  std::shared_ptr<KovaPersistentStore> store;
  std::shared_ptr<KIIdentityManager> identity;
  std::shared_ptr<KovaQueueManager> queues;

  static Parts ofApp(const std::string& appId) KOVA_ON_MAIN_THREAD;
};

KovaTracker::Parts KovaTracker::Parts::ofApp(const std::string& appId) {
  auto store = KovaPersistentStore::forAppId(appId);
  auto identity = KIIdentityManager::forStore(store);
  auto queues = KovaQueueManager::forStore(store, kQueueLimits);
  return {std::move(store), std::move(identity), std::move(queues)};
}

KovaTracker::Finished KovaTracker::finishWorkIn(const std::shared_ptr<KovaPersistentStore>& left,
                                                const std::shared_ptr<KovaOptions>& options,
                                                const std::shared_ptr<KISerialStateQueue>& mutationQueue,
                                                const std::shared_ptr<KICallLog>& ownCalls) {
  auto identity = std::make_shared<KIIdentityManager>(left, KIIdentityManager::Origin::Place);
  auto queues = std::make_shared<KovaQueueManager>(left, kQueueLimits,
                                                   ownCalls ? ownCalls : std::make_shared<KICallLog>());
  const auto tracker =
      std::make_shared<KovaTracker>(Parts{left, std::move(identity), queues}, options, mutationQueue);
  tracker->isStopped_ = true;
  if (!tracker->identityManager_->load() || !queues->load()) return Finished::NotBegun;
  tracker->redoLeftCalls();
  queues->adoptLeftovers();
  const bool isStored = queues->moveEnqueuedMessagesToBatchAndPersist();
  ownCalls ? queues->abandonJournal() : queues->abandonStore();
  return isStored ? Finished::Stored : Finished::InMemory;
}

KovaTracker::KovaTracker(std::string_view appId, std::shared_ptr<KovaOptions> options,
                         std::shared_ptr<KISerialStateQueue> mutationQueue)
    : KovaTracker(
          [&] {
            kova::mainThread.isHere();
            kova::logBaseURLs(*options);
            return Parts::ofApp(std::string(appId));
          }(),
          options, std::move(mutationQueue)) {
  kova::mutationQueue.isHere();  // as in loadStored
  noteSession();
  holdWorkWhileStoreIsUnreadable();
}

KovaTracker::KovaTracker(Parts parts, std::shared_ptr<KovaOptions> options,
                         std::shared_ptr<KISerialStateQueue> mutationQueue)
    : isTrackingEnabled_(!options->disableTracking()),
      appId_(parts.store->appId()),
      options_(std::move(options)),
      mutationQueue_(std::move(mutationQueue)),
      persistentStore_(std::move(parts.store)),
      identityManager_(std::move(parts.identity)),
      sessionTimer_(std::make_unique<KISessionTimer>(options_)),
      queueManager_(std::move(parts.queues)) {
  appProperties_ = std::make_unique<const KovaAppProperties>(*options_);
  sessionManager_ = std::make_unique<KISessionManager>(identityManager_->isFreshStart());
  touchEventCache_ =
      std::make_shared<KITouchEventCache>(kCacheDurationAfterTouchCompletion, kMaximumTouchCacheDuration);
  requestBuilder_ = std::make_unique<const KovaRequestBuilder>(appId_, *appProperties_, *sessionManager_,
                                                               *identityManager_);
  messageBuilder_ = std::make_unique<const KovaMessageBuilder>(appId_, *appProperties_, *sessionManager_,
                                                               *identityManager_);
  const auto& testSession = options_->testOnlyUrlSession();
  const auto proxy = options_->useEnvironmentProxy() ? KovaProxy::OfTheEnvironment : KovaProxy::None;
  const auto bodies =
      options_->compressUploads() ? KovaUploader::Bodies::Compressed : KovaUploader::Bodies::Plain;
  uploader_ = std::make_shared<KovaUploader>(
      options_->givenCaptureBaseUrl(), queueManager_, mutationQueue_,
      testSession ? testSession : KovaSharedURLSession::sharedSession(proxy), bodies);
  pageviewRecorder_ = std::make_unique<KIPageviewRecorder>(
      static_cast<KIPageviewRecorder::Owner&>(*this),
      KIPageviewRecorder::Parts{*options_, *sessionManager_, *queueManager_, *requestBuilder_,
                                *messageBuilder_, *uploader_});
  openURLParser_ = std::make_unique<const KovaOpenURLParser>(appId_);
  areLeftPlacesFinished_ = !persistentStore_->isHeldBack();  // by the tracker before
  sessionManager_->setObserver([this] {
    kova::mutationQueue.isHere();
    noteSession();
  });
}

KovaTracker::~KovaTracker() = default;

void KovaTracker::purgeStore() {
  const bool isPurged = persistentStore_->purgeInvalidStoresWithQueuedUrlLimit(
      kPurgedUrlLimit, kQueueLimits.queuedEvents, kQueueLimits.queuedMessageBatches,
      queueManager_->batchFileNames());
  if (isPurged) queueManager_->calls().dropLeft();
}

void KovaTracker::start() {
  releaseHeldWork();
  bindApplicationEventListeners();
  KIEVTriggerDetection::startWithOptions(*options_);
  instrumentAutocaptureWithOptions(*options_);
  // Not now: a toolkit that learns of its windows with the library says so as soon as the main run loop goes
  // on.
  kova::perform(*NSOperationQueue::mainQueue(), *this, "start", [](KovaTracker& tracker) {
    kova::mainThread.isHere();
    tracker.pageviewRecorder_->reportScreenShownBeforeStart();
  });
  extendSession();
  openURLParser_->validateCustomURLScheme();
  setUpTelemetry();
  performSafelyOnMutationQueueWithBlock(
      "start", [](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE { tracker.beginWithStored(); });
}

void KovaTracker::setUpTelemetry() const {
  KITelemetry& telemetry = KITelemetry::sharedTelemetry();
  telemetry.setBaseUrl(options_->givenCaptureBaseUrl());
  telemetry.setFollowsEnvironmentProxy(options_->useEnvironmentProxy());
  telemetry.setOptOutStatus(options_->disableTelemetryCapture());
  telemetry.setMetadataForApp({{"app_identifier", appProperties_->appName()},
                               {"version_string", appProperties_->appVersion()},
                               {"env_id", appId_}},
                              {{"os_version", UIDevice::currentDevice().systemVersion()},
                               {"device_model", appProperties_->phoneModel()}},
                              {{"source", "ios"},
                               {"platform_type", "ios"},
                               {"native_sdk_version", appProperties_->libraryVersion()}});
}

void KovaTracker::stop(std::string_view nextAppId) {
  isStopped_ = true;
  leaveStoreTo(nextAppId);
  uploader_->stop();
  stopEVPairing();
  performSafelyOnMainQueueWithBlock(
      "stop", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD { tracker.sessionTimer_->stop(); });
  storeEnqueuedMessages("stop");
}

std::shared_ptr<KovaTracker> KovaTracker::inForce() {
  auto shared = sharedTracker();
  return shared && shared->queueManager_ == queueManager_ ? shared : retained(*this);
}

void KovaTracker::takeOverTouchesOf(KovaTracker& previous) {
  if (previous.appId_ == appId_) {
    touchEventCache_ = previous.touchEventCache_;
    return;
  }
  previous.consumeAllLiveTouches();
  previous.storeEnqueuedMessages("takeOverTouchesOf:");
}

void KovaTracker::storeEnqueuedMessages(const char* fromSelector) {
  performSafelyOnMutationQueueWithBlock(fromSelector, [](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
    tracker.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
  });
}

void KovaTracker::bindApplicationEventListeners() {
  static std::once_flag once;
  std::call_once(once, [] {
    NSNotificationCenter& center = NSNotificationCenter::defaultCenter();
    center.addObserver(UIApplicationDidEnterBackgroundNotification,
                       [](const NSNotification&) { appDidEnterBackground(); });
    center.addObserver(UIApplicationWillEnterForegroundNotification,
                       [](const NSNotification&) { appWillEnterForeground(); });
    if (!UIScene::areAvailable()) return;
    center.addObserver(UISceneWillEnterForegroundNotification, [](const NSNotification& notification) {
      sceneWillEnterForeground(notification.object);
    });
  });
}

void KovaTracker::appDidEnterBackground() {
  kova::guarded({"KovaTracker", "appDidEnterBackground:"}, [] {
    const auto tracker = sharedTracker();
    if (!tracker) return;
    tracker->storeEnqueuedMessages("appDidEnterBackground:");
    tracker->uploader_->sendAll();
    tracker->uploader_->suspendScheduledUploads();
  });
}

void KovaTracker::appWillEnterForeground() {
  kova::guarded({"KovaTracker", "appWillEnterForeground:"}, [] {
    const auto tracker = sharedTracker();
    if (!tracker) return;
    tracker->storeEnqueuedMessages("appWillEnterForeground:");
    tracker->recordAdditionalPageviewFromForegroundingApp();
    tracker->uploader_->watchForAPageview();
  });
}

void KovaTracker::sceneWillEnterForeground(const std::shared_ptr<NSObject>& scene) {
  kova::guarded({"KovaTracker", "sceneWillEnterForeground:"}, [&scene] {
    const auto tracker = sharedTracker();
    if (!tracker) return;
    tracker->recordAdditionalPageviewFromForegroundingScene(std::dynamic_pointer_cast<UIWindowScene>(scene));
  });
}

void KovaTracker::extendSession() {
  performSafelyOnMainQueueWithBlock("extendSession", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    if (tracker.sessionTimer_->extend()) return;
    tracker.sessionTimer_->start([self = retained(tracker)] {
      kova::guarded({"KovaTracker", "resetSession"}, [&self] { self->resetSession(); });
    });
  });
}

std::shared_ptr<NSTimer> KovaTracker::sessionExpirationTimer() const { return sessionTimer_->timer(); }

void KovaTracker::resetSession() {
  performSafelyOnMutationQueueWithBlock("resetSession", [](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
    tracker.sessionManager_->resetSessionWithNewUser(false);
  });
  extendSession();
}

void KovaTracker::setUploadInterval(double seconds) { uploader_->setUploadInterval(seconds); }

std::string KovaTracker::userId() const { return identityManager_->userId(); }
std::optional<std::string> KovaTracker::identity() const { return identityManager_->urlEncodedIdentity(); }
std::string KovaTracker::sessionId() const { return sessionManager_->sessionId(); }

void KovaTracker::logDebugTrackingDisabled(std::string_view label) const {
  KovaLogDebug("Tracking disabled, ignoring: <%@>", label);
}
