// Touches that were waiting when their session began.

#include "src/core/tracker/KovaTracker.h"

void KovaTracker::backfillPendingTouchEventsWithPageview() {
  static const platform::SEL selector("backfillPendingTouchEventsWithPageview");
  performSafelyOnMainQueueWithBlock(
      [](KovaTracker& tracker) {
        auto events = tracker.touchEventCache_->allEvents();
        if (events.empty()) return;
        tracker.performSafelyOnMutationQueueWithBlock(
            [events = std::move(events)](KovaTracker& self) {
              for (const auto& event : events) {
                event->applyMissingPropertiesFromSessionManager(*self.sessionManager_,
                                                                *self.identityManager_);
              }
            },
            tracker, selector);
      },
      *this, selector);
}
