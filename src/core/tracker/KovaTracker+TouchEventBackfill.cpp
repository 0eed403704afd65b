// Touches that were waiting when their session began.

#include "src/core/tracker/KovaTracker.h"

namespace {

constexpr const char* kSelector = "backfillPendingTouchEventsWithPageview";

}  // namespace

void KovaTracker::backfillPendingTouchEventsWithPageview() {
  performSafelyOnMainQueueWithBlock(kSelector, [](KovaTracker& tracker) {
    tracker.backfillTouchEvents(tracker.touchEventCache_->allEvents());
  });
}

void KovaTracker::backfillTouchEvents(KITouchEventCache::Events events) {
  if (events.empty()) return;
  performSafelyOnMutationQueueWithBlock(kSelector, [events = std::move(events)](KovaTracker& tracker) {
    for (const auto& event : events) {
      event->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
    }
  });
}
