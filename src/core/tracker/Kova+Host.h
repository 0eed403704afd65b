#pragma once

#include <future>
#include <memory>

#include "platform/dispatch/Scheduler.h"
#include "platform/runtime/NotCancelled.h"

namespace kova {

// Whether the caller may do what belongs to the main thread: always, unless the main loop runs on a thread of
// the library's own.
bool isOnThreadOfHost();

// Shuts down the tracker that is in force, if any. What it has queued still runs.
void stopSharedTracker();

// Runs the block where that is so, and returns when it has run. It throws nothing. A thread that is cancelled
// waits first.
template <class Block>
void onThreadOfHost(Block block) {
  const platform::NotCancelled whole;
  if (isOnThreadOfHost()) return block();
  const auto done = std::make_shared<std::promise<void>>();
  const auto isDone = done->get_future();
  platform::Scheduler::current().mainRunLoop().perform([&block, done] {
    block();
    done->set_value();
  });
  isDone.wait();
}

}  // namespace kova
