#include "src/core/tracker/KovaTracker.h"

#include <algorithm>
#include <mutex>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIDevice.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/core/KovaEndpoints.h"
#include "src/core/KovaLogger.h"
#include "src/storage/KovaSharedURLSession.h"
#include "src/telemetry/KITelemetry.h"

using namespace platform;

namespace {

constexpr double kSessionExpirationInterval = 300.0;  // seconds
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
  // The tracker before is released here, outside the lock.
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

KovaTracker::KovaTracker(std::string_view appId, std::shared_ptr<KovaOptions> options,
                         std::shared_ptr<KISerialStateQueue> mutationQueue)
    : isTrackingEnabled_(!options->disableTracking()),
      appId_(appId),
      options_(std::move(options)),
      mutationQueue_(std::move(mutationQueue)) {
  kova::logBaseURLs(*options_);
  appProperties_ = std::make_unique<const KovaAppProperties>(*options_);
  persistentStore_ = KovaPersistentStore::forAppId(appId_, kPurgedUrlLimit, kQueueLimits.queuedEvents,
                                                   kQueueLimits.queuedMessageBatches);
  identityManager_ = KIIdentityManager::forStore(persistentStore_);
  sessionManager_ = std::make_unique<KISessionManager>(identityManager_->isFreshStart());
  queueManager_ = KovaQueueManager::forStore(persistentStore_, kQueueLimits);
  touchEventCache_ =
      std::make_shared<KITouchEventCache>(kCacheDurationAfterTouchCompletion, kMaximumTouchCacheDuration);
  requestBuilder_ = std::make_unique<const KovaRequestBuilder>(appId_, *appProperties_, *sessionManager_,
                                                               *identityManager_);
  messageBuilder_ = std::make_unique<const KovaMessageBuilder>(appId_, *appProperties_, *sessionManager_,
                                                               *identityManager_);
  const auto& testSession = options_->testOnlyUrlSession();
  const auto proxy = options_->useEnvironmentProxy() ? KovaProxy::OfTheEnvironment : KovaProxy::None;
  uploader_ =
      std::make_shared<KovaUploader>(options_->givenCaptureBaseUrl(), queueManager_, mutationQueue_,
                                     testSession ? testSession : KovaSharedURLSession::sharedSession(proxy));
  openURLParser_ = std::make_unique<const KovaOpenURLParser>(appId_);
  holdWorkWhileStoreIsUnreadable();
}

KovaTracker::~KovaTracker() = default;

void KovaTracker::purgeStore() {
  persistentStore_->purgeInvalidStoresWithQueuedUrlLimit(kPurgedUrlLimit, kQueueLimits.queuedEvents,
                                                         kQueueLimits.queuedMessageBatches,
                                                         queueManager_->batchFileNames());
}

void KovaTracker::start() {
  releaseHeldWork();
  bindApplicationEventListeners();
  startEVTriggerDetection();
  instrumentAutocaptureWithOptions(*options_);
  reportScreenShownBeforeStart();
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
  performSafelyOnMainQueueWithBlock("stop", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    if (tracker.sessionExpirationTimer_) tracker.sessionExpirationTimer_->invalidate();
  });
  storeEnqueuedMessages("stop");
}

std::shared_ptr<KovaTracker> KovaTracker::inForce() {
  auto shared = sharedTracker();
  return shared && shared->appId_ == appId_ ? shared : retained(*this);
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
    kova::mainThread.isHere();
    const auto tracker = sharedTracker();
    if (!tracker) return;
    tracker->storeEnqueuedMessages("appDidEnterBackground:");
    tracker->uploader_->sendAll();
    tracker->uploader_->suspendScheduledUploads();
    tracker->areUploadsSuspended_ = true;
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
    if (tracker.isStopped_) return;  // its timer would keep it alive for ever
    const double interval = tracker.options_->testOnlySessionExpirationInterval().value_or(0);
    if (tracker.sessionExpirationTimer_) tracker.sessionExpirationTimer_->invalidate();
    tracker.sessionExpirationTimer_ =
        NSTimer::scheduled(interval > 0 ? interval : kSessionExpirationInterval, [self = retained(tracker)] {
          kova::guarded({"KovaTracker", "extendSession"}, [&self] { self->resetSession(); });
        });
  });
}

void KovaTracker::resetSession() {
  performSafelyOnMutationQueueWithBlock("resetSession", [](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
    tracker.sessionManager_->resetSessionWithNewUser(false);
  });
  extendSession();
}

void KovaTracker::logDebugTrackingDisabled(std::string_view label) const {
  KovaLogDebug("Tracking disabled, ignoring: <%@>", label);
}
