// Pageviews of screens: of those that appear, and of those that are still there when the app comes back to
// the foreground or a new session begins.

#include <Kova/KovaConstants.h>

#include <algorithm>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/runtime/ScopedFlag.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBarController.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSObject+ClassOf.h"
#include "src/core/NSObject+TextForKey.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "src/pageviews/UIView+Visibility.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/pageviews/UIWindowScene+KOVA.h"

using namespace platform;

namespace {

std::optional<String> titleOf(const std::shared_ptr<UIBarItem>& item) {
  return item ? item->title() : std::nullopt;
}

// The parent decides for a screen in a navigation controller, the controller itself when it is a tab bar.
std::optional<String> titleOf(UIViewController& controller) {
  if (dynamic_cast<const UINavigationController*>(controller.parentViewController())) {
    return titleOf(controller.navigationItem());
  }
  if (dynamic_cast<const UITabBarController*>(&controller)) return titleOf(controller.tabBarItem());
  return controller.title();
}

// The application is back, or one of its scenes, and nothing that is on the screen was recorded.
void logThatUploadsWait() {
  KovaLogDebug(
      "No pageview was recorded on entering the foreground: uploads that were suspended wait for the next");
}

// Every message of the session carries these properties: one that JSON cannot hold would stop them all.
void mergeSendable(MutableDictionary& info, const Dictionary& overridden) {
  for (const auto& [key, value] : overridden) {
    if (value.isNull()) continue;
    if (NSJSONSerialization::isValidJSONObject(MutableDictionary{{key, value}})) {
      info.set(key, value);
    } else {
      KovaLogDebug("Pageview property %@ cannot be sent and was discarded", key);
    }
  }
}

}  // namespace

std::optional<Dictionary> KovaTracker::overriddenPageviewPropertiesForViewController(
    UIViewController* controller) const {
  const auto delegate = options_->autocaptureEnrichmentDelegate();
  return delegate && controller ? delegate->autocapturePageviewPropertiesForViewController(*controller)
                                : std::nullopt;
}

Dictionary KovaTracker::pageviewInfoForViewController(UIViewController& controller) const {
  static const SEL identifierKey("accessibilityIdentifier");
  // Controllers have none of their own: only classes of the app that give themselves one.
  const auto identifier = KOVA_textForKey(controller, identifierKey);
  const auto title = isTitleCaptureDisabled() ? std::nullopt : titleOf(controller);
  const auto label = isAccessibilityLabelCaptureDisabled() ? std::nullopt : controller.accessibilityLabel();
  MutableDictionary info;
  info.reserve(4);
  info.append(KovaPageviewPropertyViewController, KOVA_classOf(controller).name());
  info.append(KovaPageviewPropertyTitle, title.value_or(String()));
  info.append(KovaPageviewPropertyAccessibilityIdentifier, identifier.value_or(String()));
  info.append(KovaPageviewPropertyAccessibilityLabel, label.value_or(String()));
  if (const auto overridden = overriddenPageviewPropertiesForViewController(&controller)) {
    mergeSendable(info, *overridden);
    if (isAccessibilityLabelCaptureDisabled()) info.set(KovaPageviewPropertyAccessibilityLabel, "");
    if (isTitleCaptureDisabled()) info.set(KovaPageviewPropertyTitle, "");
  }
  return Dictionary(std::move(info));
}

bool KovaTracker::recordAutocapturedPageviewWithViewController(
    const std::shared_ptr<UIViewController>& controller) {
  if (!isTrackingEnabled()) {
    logDebugTrackingDisabled("Page View");
    return false;
  }
  if (isViewControllerAutocaptureDisabled()) return false;
  const bool onlyIfVisible = isBackgroundAutocaptureDisabled() || KOVA_isCapturingSnapshot();
  if (onlyIfVisible && !KOVA_isForegroundAndVisible(*controller)) return false;
  recordPageviewSendingToEventVisualizer(
      "recordAutocapturedPageviewWithViewController:", [controller](KovaTracker& tracker) {
        kova::mainThread.isHere();
        // The app's delegate, asked about a screen, may record an event, which asks for the screens in turn.
        const ScopedFlag describing(tracker.isDescribingScreen_);
        Dictionary info =
            applyTimestampAndIdToPageviewInfo(tracker.pageviewInfoForViewController(*controller));
        KOVA_setScopedPageviewInfo(controller, info, tracker.sessionId());
        return info;
      });
  return true;
}

bool KovaTracker::isSceneBasedApp() {
  const auto& application = UIApplication::sharedApplication();
  return UIScene::areAvailable() && application && !application->connectedScenes().empty();
}

void KovaTracker::recordAdditionalPageviewFromForegroundingApp() {
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewFromForegroundingApp", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        const bool areScreensCaptured = !tracker.isViewControllerAutocaptureDisabled();
        if (areScreensCaptured && isSceneBasedApp()) return;  // its scenes come back one by one
        const auto& application = UIApplication::sharedApplication();
        const auto window = areScreensCaptured && application ? application->keyWindow() : nullptr;
        const bool isRecorded =
            window ? tracker.recordAdditionalAutocapturedPageviewForWindow(*window)
                   : tracker.recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo();
        if (!isRecorded && tracker.areUploadsSuspended_) logThatUploadsWait();
      });
}

void KovaTracker::recordAdditionalPageviewFromForegroundingScene(std::shared_ptr<UIWindowScene> scene) {
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewFromForegroundingScene:",
      [scene = std::move(scene)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        if (tracker.isViewControllerAutocaptureDisabled() || !scene) return;
        const auto window = KOVA_firstKeyWindow(*scene);
        const bool isRecorded = window && tracker.recordAdditionalAutocapturedPageviewForWindow(*window);
        if (!isRecorded && tracker.areUploadsSuspended_) logThatUploadsWait();
      });
}

bool KovaTracker::recordAdditionalAutocapturedPageviewForWindow(UIWindow& window) {
  const auto source = KOVA_sourceViewControllerForPageviewWithCurrentSessionId(window, sessionId());
  const auto view = source ? source->viewIfLoaded() : nullptr;
  return view && view->window() == &window && recordAutocapturedPageviewWithViewController(source);
}

bool KovaTracker::recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo() {
  if (!sessionManager_->hasLoggedAnyPageviews() || !isTrackingEnabled()) return false;
  recordPageviewSendingToEventVisualizer("recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo",
                                         [](KovaTracker& tracker) -> std::optional<Dictionary> {
                                           const auto mostRecent =
                                               tracker.sessionManager_->mostRecentPageviewInfo();
                                           if (!mostRecent) return std::nullopt;
                                           return applyTimestampAndIdToPageviewInfo(*mostRecent);
                                         });
  return sessionManager_->hasMostRecentPageviewInfo();
}

void KovaTracker::reportScreenShownBeforeStart() const {
  if (isViewControllerAutocaptureDisabled() || !KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  const auto windows = KOVA_allForegroundedAndVisibleWindows();
  const bool isUnknown = std::any_of(windows.begin(), windows.end(), [](const auto& window) {
    kova::mainThread.isHere();
    const auto root = window->rootViewController();
    return root && !KOVA_scopedAttachedPageviewData(*root);
  });
  if (!isUnknown) return;
  KovaLogDebug(
      "A screen was shown before the library was initialized. It has no pageview until it appears again, and what is recorded until some screen appears is reported on that one. Initialize before the first window is shown.");
}

// Asked for by every event until the session has a pageview, and yet each screen is recorded once: recording
// it attaches a pageview of this session to it, so that the next event no longer finds it here.
void KovaTracker::recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(
    Completion completion) {
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession:",
      [completion = std::move(completion)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        tracker.recordVisibleViewControllersFromPreviousSession();
        if (completion) completion();
      });
}

void KovaTracker::recordVisibleViewControllersFromPreviousSession() {
  // The screens are those of the tracker that replaced a stopped one.
  if (isStopped_ || isViewControllerAutocaptureDisabled()) return;
  const std::string session = sessionId();
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
