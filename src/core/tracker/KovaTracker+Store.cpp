// A store that cannot be read for the moment decides nothing: the mutation queue is held until it can be, so
// that what is recorded meanwhile finds the stored user and stands behind the stored queues.

#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

namespace {

constexpr double kLongestHold = 15.0;         // seconds: an upload interval
constexpr double kStoreRetryInterval = 0.25;  // seconds

}  // namespace

bool KovaTracker::loadStored() {
  if (!queueManager_->isLoaded()) purgeStore();
  if (!identityManager_->load() || !queueManager_->load()) return false;
  if (identityManager_->isFreshStart()) sessionManager_->markNewUser();
  return true;
}

void KovaTracker::holdWorkWhileStoreIsUnreadable() {
  const MutexLock lock(storeMutex_);
  isStoreTakenUp_ = loadStored();
  isHoldingWork_ = !isStoreTakenUp_ || mutationQueue_->isSuspended();  // see leaveStoreTo
  if (isStoreTakenUp_) return;
  KovaLogDebug(
      "What is stored cannot be read for the moment. Until it can, for %ld s at most, nothing is uploaded.",
      static_cast<long>(kLongestHold));
  mutationQueue_->setSuspended(true);
}

// A user that the next tracker may still find stored is not made up now. The queue is suspended also when
// this one has gone on with a user made up: the next one takes up what both share, with nobody else at it.
void KovaTracker::leaveStoreTo(std::string_view nextAppId) {
  {
    const MutexLock lock(storeMutex_);
    if (!isStoreTakenUp_ && nextAppId == appId_) {
      mutationQueue_->setSuspended(true);
      isHoldingWork_ = false;
      return;
    }
  }
  if (isHoldingWork_) takeUpStore(false);  // whoever is next waits for what is queued
}

void KovaTracker::takeUpStoreLater() {
  const MutexLock lock(storeMutex_);
  const double seconds = isStoreTakenUp_ ? 0 : kStoreRetryInterval;
  takeUpStoreAfter(seconds, kLongestHold - seconds);
}

void KovaTracker::takeUpStoreAfter(double seconds, double secondsLeft) {
  static const SEL selector("takeUpStore");
  mutationQueue_->after(seconds, [self = retained(), secondsLeft] {
    kova::guarded({classObject(), selector}, [&] {
      if (self->isStopped_) return;
      if (self->takeUpStore(secondsLeft > 0)) return self->queueManager_->adoptLeftovers();
      const double pause = secondsLeft > 0 ? kStoreRetryInterval : kLongestHold;
      self->takeUpStoreAfter(pause, secondsLeft - pause);
    });
  });
}

bool KovaTracker::takeUpStore(bool mayWait) {
  const MutexLock lock(storeMutex_);
  if (!isStoreTakenUp_) isStoreTakenUp_ = loadStored();
  if (!isStoreTakenUp_ && mayWait) return false;
  if (!isStoreTakenUp_) {
    identityManager_->assumeUser();
    if (identityManager_->isFreshStart()) sessionManager_->markNewUser();
  }
  if (isHoldingWork_.exchange(false)) mutationQueue_->setSuspended(false);
  return isStoreTakenUp_;
}
