// Everything stored and sent while the caller waits: one after the other on the main thread, which touches
// belong to, on the mutation queue, and with the answers of the capture service. When the time is up the
// caller leaves, and the work goes on.

#include <Kova/Kova.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>

#include "src/core/KovaLogger.h"
#include "src/core/tracker/KovaTracker+Perform.h"
#include "src/identity/KISessionManager.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/KovaUploader.h"

using namespace platform;

namespace {

constexpr double kLongestWait = 3600;  // seconds

}  // namespace

// The wait ends when all has been done, and when nobody is left who could: the library has bailed.
struct KovaTracker::Flush {
  struct Progress {
    std::atomic<bool> isStored = false;
    std::atomic<bool> isSent = false;
  };
  const std::shared_ptr<Progress> progress = std::make_shared<Progress>();
  std::promise<void> isDone;
};

KovaFlushed KovaTracker::flush(double seconds) {
  if (mutationQueue_->isCurrent()) return {};  // it would wait for itself
  auto flush = std::make_shared<Flush>();
  const auto progress = flush->progress;
  const auto isDone = flush->isDone.get_future();
  performSafelyOnMainQueueWithBlock("flush:",
                                    [flush = std::move(flush)](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
                                      tracker.consumeAllLiveTouches();
                                      tracker.injectPageviewForWaiting();
                                      tracker.storeForFlush(flush);
                                    });
  const std::chrono::duration<double> limit(seconds > 0 ? std::min(seconds, kLongestWait) : 0);
  isDone.wait_for(limit);
  return {progress->isStored, progress->isSent};
}

std::shared_ptr<const KICounters> KovaTracker::counters() const { return queueManager_->counters(); }

// After a change of user the new session has no pageview yet. Where the library makes pageviews itself, it
// makes one now, so that the session's events can leave.
void KovaTracker::injectPageviewForWaiting() {
  if (!isViewControllerAutocaptureDisabled() || sessionManager_->hasMostRecentPageviewInfo()) return;
  pageviewRecorder_->injectSyntheticPageviewIfNeeded(KIPageview::Repeat::ForWaiting);
}

// A pass that is under way ends first: it may have begun before the last batch was made.
void KovaTracker::storeForFlush(const std::shared_ptr<Flush>& flush) {
  performSafelyOnMutationQueueWithBlock("flush:", [flush](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
    flush->progress->isStored = tracker.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
    if (const auto count = tracker.queueManager_->queuedEventsCount(); count > 0)
      KovaLogDebug("%lu messages are stored, and wait for a pageview.", count);
    tracker.uploader_->whenIdle([self = retained(tracker), flush] {
      self->uploader_->sendAll();
      self->uploader_->whenIdle([self, flush] {
        kova::mutationQueue.isHere();
        flush->progress->isSent = self->queueManager_->isEmpty();
        flush->isDone.set_value();
      });
    });
  });
}
