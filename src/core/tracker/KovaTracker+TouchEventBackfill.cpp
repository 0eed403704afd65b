// Touches that were waiting when their session began.

#include "src/core/tracker/KovaTracker.h"

void KovaTracker::backfillPendingTouchEventsWithPageview() {
  static constexpr const char* kSelector = "backfillPendingTouchEventsWithPageview";
  performSafelyOnMainQueueWithBlock(kSelector, [](KovaTracker& tracker) {
    auto events = tracker.touchEventCache_->allEvents();
    if (events.empty()) return;
    tracker.performSafelyOnMutationQueueWithBlock(kSelector, [events =
                                                                  std::move(events)](KovaTracker& tracker) {
      for (const auto& event : events) {
        event->applyMissingPropertiesFromSessionManager(*tracker.sessionManager_, *tracker.identityManager_);
      }
    });
  });
}
