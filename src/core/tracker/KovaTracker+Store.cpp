// A store that cannot be read for the moment decides nothing: the mutation queue is held until it can be, so
// that what is recorded meanwhile finds the stored user and stands behind the stored queues.

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/tracker/KovaTracker+Perform.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/identity/lifecycle/KILifecycle.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"
#include "src/storage/KIJournal.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr double kLongestHold = 15.0;         // seconds: an upload interval
constexpr double kStoreRetryInterval = 0.25;  // seconds
// Bytes of calls that ended processes have left, done before `initialize` returns: some hundred, which take
// some milliseconds.
constexpr std::uint64_t kMostLeftAtOnce = 128 << 10;

}  // namespace

KovaTracker::Loaded KovaTracker::loadStored(Pace pace) {
  kova::mutationQueue.isHere();  // or nothing runs there, because it is new or held
  if (!persistentStore_->takePlace()) return Loaded::Unreadable;
  if (!queueManager_->isLoaded()) purgeStore();
  const Loaded areFinished = finishLeftPlaces(pace);
  if (areFinished == Loaded::Unreadable || persistentStore_->isHeldBack()) return areFinished;
  if (!identityManager_->load() || !queueManager_->load()) return Loaded::Unreadable;
  if (identityManager_->isFreshStart()) sessionManager_->markNewUser();
  const bool isMuchLeft = queueManager_->sizeOfLeftCalls() > kMostLeftAtOnce;
  if (areFinished == Loaded::PutOff || (pace == Pace::Short && isMuchLeft)) return Loaded::PutOff;
  redoLeftCalls();
  for (const auto& left : std::exchange(leftStores_, {})) queueManager_->takeOver(left);
  return Loaded::Yes;
}

// This one's own place, when it is not the first, is the last of them: nobody is let in before it is done.
KovaTracker::Loaded KovaTracker::finishLeftPlaces(Pace pace) {
  if (areLeftPlacesFinished_) return Loaded::Yes;
  if (persistentStore_->stringForKey(KovaPersistentPropertyKeyUserId).isUnreadable())
    return Loaded::Unreadable;
  std::uint64_t size = 0;
  for (const auto& left : persistentStore_->storesLeft()) {
    const bool isOwnPlace = left->placeName() == persistentStore_->placeName();
    if (isOwnPlace && !persistentStore_->isHeldBack()) continue;
    const std::uint64_t sizeHere = KIJournal::sizeFor(*left);
    size += sizeHere;
    const bool isIdle = sizeHere == 0;
    if (isIdle && !isOwnPlace && KovaQueueManager::isAnythingQueuedIn(*left)) {
      leftStores_.push_back(left);  // files that no row names come with the others
    } else if (isIdle && (isOwnPlace || !KovaQueueManager::areFilesLeftBehindIn(*left))) {
      continue;
    } else if (pace == Pace::Short && size > kMostLeftAtOnce) {
      if (isOwnPlace) return Loaded::PutOff;
    } else {
      const Finished finished =
          finishWorkIn(left, options_, mutationQueue_, isOwnPlace ? queueManager_->sharedCalls() : nullptr);
      if (isOwnPlace && finished == Finished::NotBegun) return Loaded::Unreadable;
      if (!isOwnPlace && finished == Finished::Stored) leftStores_.push_back(left);
    }
  }
  persistentStore_->letIn();
  areLeftPlacesFinished_ = pace == Pace::Whole || size <= kMostLeftAtOnce;
  return areLeftPlacesFinished_ ? Loaded::Yes : Loaded::PutOff;
}

void KovaTracker::holdWorkWhileStoreIsUnreadable() {
  const MutexLock lock(storeMutex_);
  const Loaded loaded = loadStored(Pace::Short);
  if (loaded == Loaded::Yes) {
    storeState_ = StoreState::TakenUp;
    return;
  }
  const double now = Scheduler::current().uptime();
  const auto previous = sharedTracker();
  holdEnd_ = previous && previous->appId_ == appId_ ? previous->holdEnd_ : std::nullopt;
  if (!holdEnd_) holdEnd_ = now + kLongestHold;
  mutationQueue_->setSuspended(true);
  if (loaded == Loaded::PutOff) {
    KovaLogDebug(
        "Much was left undone by processes that have ended. It is done before anything is uploaded.");
    return;
  }
  firstRetry_ = kStoreRetryInterval;
  if (assumeUserWithoutPlace()) storeState_ = StoreState::Assumed;
  if (*holdEnd_ <= now || storeState_ == StoreState::Assumed) return;
  KovaLogDebug(
      "What is stored cannot be read for the moment. Until it can, for %ld s at most, nothing is uploaded.",
      std::lround(*holdEnd_ - now));
}

// A user that the next tracker may still find stored is not made up now. The queue is suspended also when
// this one has gone on with a user made up: the next one takes up what both share, with nobody else at it.
void KovaTracker::leaveStoreTo(std::string_view nextAppId) {
  const MutexLock lock(storeMutex_);
  if (storeState_ == StoreState::TakenUp) return;
  if (nextAppId == appId_) {
    mutationQueue_->setSuspended(true);
    storeState_ = StoreState::Left;
  } else if (storeState_ == StoreState::Unread) {
    takeUpLockedStore(false);  // whoever is next waits for what is queued
  }
}

void KovaTracker::releaseHeldWork() {
  {
    const MutexLock lock(storeMutex_);
    if (storeState_ != StoreState::Unread) mutationQueue_->setSuspended(false);  // see leaveStoreTo
    if (storeState_ == StoreState::TakenUp) return;
  }
  const double secondsLeft = std::max(0.0, *holdEnd_ - Scheduler::current().uptime());
  const double seconds = std::min(firstRetry_, secondsLeft);
  takeUpStoreAfter(seconds, secondsLeft - seconds);
}

void KovaTracker::takeUpStoreAfter(double seconds, double secondsLeft) {
  mutationQueue_->after(seconds, [self = retained(*this), secondsLeft] {
    kova::guarded({"KovaTracker", "takeUpStore"}, [&] {
      kova::mutationQueue.isHere();
      if (self->isStopped_) return;
      if (self->takeUpStore(secondsLeft > 0)) {
        if (self->beginning_ == Beginning::Owed) self->beginWithStored();
        return;
      }
      const double pause = secondsLeft > 0 ? kStoreRetryInterval : kLongestHold;
      self->takeUpStoreAfter(pause, secondsLeft - pause);
    });
  });
}

bool KovaTracker::takeUpStore(bool mayWait) {
  const MutexLock lock(storeMutex_);
  return takeUpLockedStore(mayWait);
}

bool KovaTracker::takeUpLockedStore(bool mayWait) {
  if (storeState_ == StoreState::TakenUp || storeState_ == StoreState::Left) return true;
  const bool isTakenUp = loadStored(Pace::Whole) == Loaded::Yes;
  if (!isTakenUp && storeState_ == StoreState::Assumed) return false;
  if (!isTakenUp && mayWait && !assumeUserWithoutPlace()) return false;
  if (!isTakenUp) {
    kova::mutationQueue.isHere();  // as above
    identityManager_->assumeUser();
    if (identityManager_->isFreshStart()) sessionManager_->markNewUser();
  }
  if (storeState_ == StoreState::Unread) mutationQueue_->setSuspended(false);
  storeState_ = isTakenUp ? StoreState::TakenUp : StoreState::Assumed;
  return isTakenUp;
}

// What is recorded then is in memory, and has a user all the same: the stored one, or a new one if there is
// none.
bool KovaTracker::assumeUserWithoutPlace() {
  kova::mutationQueue.isHere();  // as above
  if (persistentStore_->hasPlace() || !identityManager_->loadUserAlone()) return false;
  identityManager_->assumeUser();
  if (identityManager_->isFreshStart()) sessionManager_->markNewUser();
  return true;
}

// Called for this tracker, too, when the one before it was replaced while the queue was held.
void KovaTracker::beginWithStored() {
  if (beginning_ == Beginning::Done) return;
  beginning_ = queueManager_->isLoaded() ? Beginning::Done : Beginning::Owed;
  if (beginning_ == Beginning::Owed) return;
  queueManager_->adoptLeftovers();
  enqueueLifecycleEvent();
}

void KovaTracker::enqueueLifecycleEvent() {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Lifecycle Event");
  if (!persistentStore_->place().isFirst()) {
    KovaLogDebug("(Lifecycle) Another process of the app decides about installation and upgrade.");
    return;
  }
  // A failure here does not change the decision: the version is stored all the same, so that it fails once.
  const auto store = [this](const KILifecycleEvent& event) {
    return kova::guarded(
        {*this, "start"},
        [&] {
          kova::mutationQueue.isHere();
          return storeLifecycleEvent(event);
        },
        true);
  };
  const auto forgetMark = [this] {
    kova::mutationQueue.isHere();
    const auto mark = persistentStore_->stringForKey(KILifecycle::kStoredEventKey);
    if (mark) persistentStore_->removeObjectForKey(KILifecycle::kStoredEventKey);
  };
  KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(*options_, {store, forgetMark});
}

// The version is kept in a database of its own. Until it is, one is stored with the event, so that a process
// that ends in between is seen to have stored the event.
bool KovaTracker::storeLifecycleEvent(const KILifecycleEvent& event) {
  const std::string version = event.version().description();
  const auto mark = persistentStore_->stringForKey(KILifecycle::kStoredEventKey);
  if (mark.isUnreadable()) return false;
  if (mark == version) return true;
  if (!queueManager_->canEnqueueMessage()) return false;
  injectPageviewsIfNeeded();
  return persistentStore_->changeInOneStep([&] {
    kova::mutationQueue.isHere();
    queueManager_->enqueueMessage(messageBuilder_->mutableMessageForEvent(event));
    queueManager_->persistQueuedEvents();
    persistentStore_->setObject(version, KILifecycle::kStoredEventKey);
  });
}
