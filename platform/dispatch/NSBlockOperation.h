#pragma once

#include <utility>

#include "platform/dispatch/Work.h"

namespace platform {

// A piece of work as an object, to be given to an NSOperationQueue or started by hand. A value with one
// owner; not thread-safe.
class NSBlockOperation {
 public:
  explicit NSBlockOperation(Work block) : block_(std::move(block)) {}

  // Runs the block on the calling thread and releases it. An operation runs once: a second start does
  // nothing.
  void start() {
    const Work block = std::exchange(block_, nullptr);
    if (block) block();
  }

 private:
  friend class NSOperationQueue;
  Work block_;
};

}  // namespace platform
