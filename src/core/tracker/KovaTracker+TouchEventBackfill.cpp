// Touches that were waiting when their session began.

#include "src/core/tracker/KovaTracker.h"

namespace {

constexpr const char* kSelector = "backfillPendingTouchEventsWithPageview";

}  // namespace

void KovaTracker::backfillPendingTouchEventsWithPageview() {
  performSafelyOnMainQueueWithBlock(kSelector, [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    tracker.backfillTouchEvents(tracker.touchEventCache_->allEvents());
  });
}

void KovaTracker::backfillTouchEvents(KITouchEventCache::Events events) {
  if (events.empty()) return;
  performSafelyOnMutationQueueWithBlock(kSelector, [events = std::move(events)](
                                                       KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
    for (const auto& event : events) {
      event->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
    }
  });
}
