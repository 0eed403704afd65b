// What the tracker adds to its recorder of pageviews: the way to it from any thread.

#include "platform/uikit/UIWindowScene.h"
#include "src/core/tracker/KovaTracker+Calls.h"
#include "src/identity/KISessionManager.h"

using namespace platform;

void KovaTracker::recordAutocapturedPageviewWithViewController(
    const std::shared_ptr<UIViewController>& controller) {
  performSafelyOnMainQueueWithBlock(
      "recordAutocapturedPageviewWithViewController:",
      [controller](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        tracker.pageviewRecorder_->recordAutocapturedPageviewWithViewController(controller);
      });
}

void KovaTracker::injectPageviewsIfNeeded() {
  if (sessionManager_->hasMostRecentPageviewInfo() || isRedoing_) return;
  if (!isViewControllerAutocaptureDisabled()) {
    return recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(nullptr);
  }
  performSafelyOnMainQueueWithBlock("injectSyntheticPageviewIfNeeded",
                                    [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
                                      tracker.pageviewRecorder_->injectSyntheticPageviewIfNeeded();
                                    });
}

void KovaTracker::recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(
    Completion completion) {
  if (isRedoing_) return;
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession:",
      [completion = std::move(completion)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        // The screens are those of the tracker that replaced a stopped one.
        if (!tracker.isStopped_) tracker.pageviewRecorder_->recordVisibleViewControllersFromPreviousSession();
        if (completion) completion();
      });
}

void KovaTracker::recordAdditionalPageviewFromForegroundingApp() {
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewFromForegroundingApp", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        tracker.pageviewRecorder_->recordAdditionalPageviewFromForegroundingApp();
      });
}

void KovaTracker::recordAdditionalPageviewFromForegroundingScene(std::shared_ptr<UIWindowScene> scene) {
  performSafelyOnMainQueueWithBlock(
      "recordAdditionalPageviewFromForegroundingScene:",
      [scene = std::move(scene)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
        tracker.pageviewRecorder_->recordAdditionalPageviewFromForegroundingScene(scene.get());
      });
}

void KovaTracker::consumePageview(const char* fromSelector, KIPageview pageview) {
  const auto call = note(Call::Pageview, pageview.info, Value(static_cast<int>(pageview.repeat)));
  performNotedOnMutationQueue(fromSelector, call,
                              [pageview = std::move(pageview)](KovaTracker& tracker)
                                  KOVA_ON_MUTATION_QUEUE { tracker.pageviewRecorder_->enqueue(pageview); });
}
