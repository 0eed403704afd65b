#pragma once

#include <Kova/KovaStatus.h>

#include "platform/runtime/Mutex.h"

// What has become of everything that was recorded. Changed in whole steps after which the sum agrees: on the
// mutation queue, and where a call is refused at once. Any thread.
class KICounters {
 public:
  KovaStatus status() const {
    const platform::MutexLock lock(mutex_);
    return status_;
  }
  using Kind = KovaCounts KovaStatus::*;
  using Place = std::uint64_t KovaCounts::*;
  // Beside the sum.
  void add(Kind kind, Place place, std::uint64_t count = 1) {
    const platform::MutexLock lock(mutex_);
    status_.*kind.*place += count;
  }
  // Of events or requests, that many go from one place of the sum to another.
  void move(Kind kind, Place from, Place to, std::uint64_t count = 1) {
    const platform::MutexLock lock(mutex_);
    status_.*kind.*from -= count;
    status_.*kind.*to += count;
  }
  // That many come in, and are in that place of the sum from now on.
  void take(Kind kind, Place from, Place to, std::uint64_t count = 1) {
    const platform::MutexLock lock(mutex_);
    status_.*kind.*from += count;
    status_.*kind.*to += count;
  }

  // They have come in by mistake.
  void giveBack(Kind kind, Place from, Place to, std::uint64_t count) {
    const platform::MutexLock lock(mutex_);
    status_.*kind.*from -= count;
    status_.*kind.*to -= count;
  }

 private:
  mutable platform::Mutex mutex_;
  KovaStatus status_ PLATFORM_GUARDED_BY(mutex_);
};
