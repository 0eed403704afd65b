#pragma once

// How the tracker's own files hand work over.

#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/core/tracker/KovaTracker.h"

template <class Block>
auto KovaTracker::forTheOneInForce(Block block) {
  return [block = std::move(block)](KovaTracker& tracker) mutable {
    kova::mutationQueue.isHere();
    if (!tracker.isStopped_) return block(tracker);
    block(*tracker.inForce());
  };
}

template <class Block>
void KovaTracker::performSafelyOnMutationQueueWithBlock(const char* selector, Block block) {
  kova::perform(*mutationQueue_, *this, selector, forTheOneInForce(std::move(block)));
}

template <class Block>
void KovaTracker::performSafelyOnMutationQueueSoonWithBlock(const char* selector, Block block) {
  kova::performSoon(*mutationQueue_, *this, selector, forTheOneInForce(std::move(block)));
}

template <class Block>
void KovaTracker::performSafelyOnMutationQueueLazilyWithBlock(const char* selector, Block block) {
  kova::performLazily(*mutationQueue_, *this, selector, std::move(block));
}

template <class Block>
void KovaTracker::performSafelyOnMainQueueWithBlock(const char* selector, Block block) {
  kova::perform(kova::mainThread, *this, selector, std::move(block));
}
