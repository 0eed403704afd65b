#pragma once

#include <chrono>
#include <condition_variable>

#include "platform/runtime/Mutex.h"

namespace platform {

// A condition variable for a Mutex that the caller holds. Wake-ups may be spurious: wait in a loop on the
// condition.
class Condition {
 public:
  void wait(Mutex& mutex) PLATFORM_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }

  // Returns at the deadline at the latest.
  void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) PLATFORM_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    condition_.wait_until(held, deadline);
    held.release();
  }

  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace platform
