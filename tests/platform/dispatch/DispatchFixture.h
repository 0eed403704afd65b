#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"

// The real scheduler, and waiting with a limit.
class DispatchTest : public testing::Test {
 protected:
  static constexpr std::chrono::seconds kLimit{20};

  platform::ThreadScheduler& scheduler = platform::ThreadScheduler::installed();
  platform::MainRunLoop& mainLoop = scheduler.ownRunLoop();

  std::shared_ptr<platform::DispatchQueue> makeQueue(const std::string& label = "test.queue") {
    return scheduler.makeSerialQueue(label, platform::QualityOfService::Default);
  }

  // True once the promise was kept in time.
  static bool kept(std::promise<void>& promise) {
    return promise.get_future().wait_for(kLimit) == std::future_status::ready;
  }

  // Waits until the queue has run everything that was added before.
  static bool settle(platform::DispatchQueue& queue) {
    auto done = std::make_shared<std::promise<void>>();
    queue.async([done] { done->set_value(); });
    return kept(*done);
  }

  // Looks again and again, giving way in between, at what no one can announce.
  static bool eventually(const std::function<bool()>& holds) {
    const auto limit = std::chrono::steady_clock::now() + kLimit;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > limit) return false;
      std::this_thread::yield();
    }
    return true;
  }
};
