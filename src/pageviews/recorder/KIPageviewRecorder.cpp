#include "src/pageviews/recorder/KIPageviewRecorder.h"

#include <Kova/KovaConstants.h>
#include <Kova/KovaOptions.h>

#include <algorithm>

#include "platform/runtime/ScopedFlag.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/core/Guard.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/KovaLogger.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/events/KIEventRecording.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/events/KovaRequestBuilder.h"
#include "src/identity/KISessionManager.h"
#include "src/pageviews/PageviewInfo.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "src/pageviews/UIView+Visibility.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/pageviews/UIWindowScene+KOVA.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/KovaUploader.h"

using namespace platform;
using Repeat = KIPageview::Repeat;

namespace {

bool isSceneBasedApp() {
  const auto& application = UIApplication::sharedApplication();
  return UIScene::areAvailable() && application && !application->connectedScenes().empty();
}

}  // namespace

template <class Builder>
void KIPageviewRecorder::recordPageviewSendingToEventVisualizer(const char* fromSelector, Repeat repeat,
                                                                Builder mainQueuePageviewInfoBuilder) {
  kova::guarded({"KovaTracker", fromSelector}, [&] {
    kova::mainThread.isHere();
    std::optional<Dictionary> info = mainQueuePageviewInfoBuilder();
    if (!info) return;
    auto recording = owner_.recordingOfScreen();
    owner_.extendSession();
    owner_.consumePageview(fromSelector, {std::move(*info), repeat, std::move(recording)});
    parts_.uploader.requestScheduledUploads();
  });
}

bool KIPageviewRecorder::enqueueQuietly(const Dictionary& info, Repeat repeat) {
  const bool hasPageview = parts_.sessionManager.hasMostRecentPageviewInfo();
  if (repeat == Repeat::OnceASession && hasPageview) return false;
  if (repeat == Repeat::ForWaiting && (hasPageview || parts_.queueManager.queuedEventsCount() == 0))
    return false;
  return enqueuePageviewUrl(info);
}

void KIPageviewRecorder::enqueue(const KIPageview& pageview) {
  if (!enqueueQuietly(pageview.info, pageview.repeat)) return;
  if (pageview.recording) {
    pageview.recording->send(
        Dictionary(parts_.messageBuilder.mutableMessagePageviewWithPageviewInfo(pageview.info)));
  }
  parts_.uploader.requestScheduledUploads();
}

bool KIPageviewRecorder::enqueuePageviewUrl(const Dictionary& pageviewInfo) {
  KovaQueueManager& queueManager = parts_.queueManager;
  if (!queueManager.canEnqueueUrlString()) {
    queueManager.refuseUrlString();
    return false;
  }
  queueManager.moveEnqueuedMessagesToBatchAndPersist();
  if (KovaLoggingEnabled(kKovaLogLevelDebug)) {
    KovaLogDebug("Logged view controller with properties:%@", kova::descriptionOfPageviewInfo(pageviewInfo));
  }
  Dictionary pixelProperties;
  const std::string url =
      parts_.requestBuilder.pageviewUrlStringWithPageviewInfo(pageviewInfo, &pixelProperties);
  if (parts_.sessionManager.loggedPageviewWithPageviewInfo(pageviewInfo, pixelProperties)) {
    queueManager.enqueueFirstPageviewUrlString(url, parts_.messageBuilder);
    owner_.backfillPendingTouchEventsWithPageview();
  } else {
    queueManager.enqueueUrlString(url);
  }
  return true;
}

void KIPageviewRecorder::recordAutocapturedPageviewWithViewController(
    const std::shared_ptr<UIViewController>& controller) {
  if (!owner_.isTrackingEnabled()) return owner_.logDebugTrackingDisabled("Page View");
  const KovaOptions& options = parts_.options;
  if (options.disableViewControllerAutocapture()) return;
  const bool onlyIfVisible = options.disableAutocaptureWhenBackgrounded() || KOVA_isCapturingSnapshot();
  if (onlyIfVisible && !KOVA_isForegroundAndVisible(*controller)) return;
  recordPageviewSendingToEventVisualizer(
      "recordAutocapturedPageviewWithViewController:", Repeat::Always, [&] {
        kova::mainThread.isHere();
        // The app's delegate, asked about a screen, may record an event, which asks for the screens in turn.
        const ScopedFlag describing(isDescribingScreen_);
        Dictionary info = kova::applyTimestampAndIdToPageviewInfo(
            kova::pageviewInfoForViewController(*controller, options));
        KOVA_setScopedPageviewInfo(controller, info, parts_.sessionManager.sessionId());
        return info;
      });
}

void KIPageviewRecorder::injectSyntheticPageviewIfNeeded(Repeat repeat) {
  recordPageviewSendingToEventVisualizer("injectSyntheticPageviewIfNeeded", repeat, [] {
    return kova::applyTimestampAndIdToPageviewInfo({{KovaPageviewPropertyViewController, ""},
                                                    {KovaPageviewPropertyTitle, ""},
                                                    {KovaPageviewPropertyAccessibilityIdentifier, ""},
                                                    {KovaPageviewPropertyAccessibilityLabel, ""}});
  });
}

void KIPageviewRecorder::recordAdditionalPageviewFromForegroundingApp() {
  const bool areScreensCaptured = !parts_.options.disableViewControllerAutocapture();
  if (areScreensCaptured && isSceneBasedApp()) return;  // its scenes come back one by one
  const auto& application = UIApplication::sharedApplication();
  const auto window = areScreensCaptured && application ? application->keyWindow() : nullptr;
  if (window) return recordAdditionalAutocapturedPageviewForWindow(*window);
  recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo();
}

void KIPageviewRecorder::recordAdditionalPageviewFromForegroundingScene(UIWindowScene* scene) {
  if (parts_.options.disableViewControllerAutocapture() || !scene) return;
  if (const auto window = KOVA_firstKeyWindow(*scene)) recordAdditionalAutocapturedPageviewForWindow(*window);
}

void KIPageviewRecorder::recordAdditionalAutocapturedPageviewForWindow(UIWindow& window) {
  const auto source =
      KOVA_sourceViewControllerForPageviewWithCurrentSessionId(window, parts_.sessionManager.sessionId());
  const auto view = source ? source->viewIfLoaded() : nullptr;
  if (view && view->window() == &window) recordAutocapturedPageviewWithViewController(source);
}

void KIPageviewRecorder::recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo() {
  if (!parts_.sessionManager.hasLoggedAnyPageviews() || !owner_.isTrackingEnabled()) return;
  recordPageviewSendingToEventVisualizer("recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo",
                                         Repeat::Always, [&]() -> std::optional<Dictionary> {
                                           const auto mostRecent =
                                               parts_.sessionManager.mostRecentPageviewInfo();
                                           if (!mostRecent) return std::nullopt;
                                           return kova::applyTimestampAndIdToPageviewInfo(*mostRecent);
                                         });
}

void KIPageviewRecorder::recordVisibleViewControllersFromPreviousSession() {
  if (parts_.options.disableViewControllerAutocapture()) return;
  const std::string session = parts_.sessionManager.sessionId();
  if (session.empty() || isDescribingScreen_) return;
  for (const auto& window : KOVA_allForegroundedAndVisibleWindows()) {
    auto controller = window->rootViewController();
    for (int step = 0; controller && step < kHierarchyStepLimit; ++step) {
      const auto source =
          KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(*controller, session);
      if (source && KOVA_isForegroundAndVisible(*source))
        recordAutocapturedPageviewWithViewController(source);
      controller = controller->presentedViewController();
    }
  }
}

void KIPageviewRecorder::reportScreenShownBeforeStart() const {
  if (parts_.options.disableViewControllerAutocapture() || !KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  bool isAnyShown = false;
  for (const auto& window : KOVA_allForegroundedAndVisibleWindows()) {
    const auto root = window->rootViewController();
    if (root && KOVA_scopedAttachedPageviewData(*root)) return;
    isAnyShown = isAnyShown || root;
  }
  if (!isAnyShown) return;
  KovaLogDebug(
      "A screen was shown before the library was initialized. It has no pageview until it appears again, and what is recorded until some screen appears is reported on that one. Initialize before the first window is shown.");
}
