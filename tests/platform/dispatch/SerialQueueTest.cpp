#include <gmock/gmock.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <thread>
#include <vector>

#include "platform/dispatch/NSOperationQueue.h"
#include "tests/platform/dispatch/DispatchFixture.h"

using namespace platform;
using testing::ElementsAre;

namespace {

std::atomic<std::ptrdiff_t> bytesInUse{0};

}  // namespace

// This program counts what it holds.
void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (!block) throw std::bad_alloc();
  bytesInUse += static_cast<std::ptrdiff_t>(malloc_usable_size(block));
  return block;
}
void operator delete(void* block) noexcept {
  bytesInUse -= static_cast<std::ptrdiff_t>(malloc_usable_size(block));
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace {

class SerialQueueTest : public DispatchTest {};

std::ptrdiff_t threadCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

std::string fileOfTask(pid_t thread, const char* name) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// How often the thread has gone to sleep.
std::string voluntarySwitches(pid_t thread) {
  const std::string status = fileOfTask(thread, "status");
  const std::size_t at = status.find("voluntary_ctxt_switches");
  return status.substr(at, status.find('\n', at) - at);
}

TEST_F(SerialQueueTest, HoldsWhatIsAddedWhileItIsSuspended) {
  const auto queue = std::make_shared<NSOperationQueue>();
  std::vector<int> ran;
  queue->setSuspended(true);
  queue->addOperationWithBlock([&] { ran.push_back(1); });
  queue->addOperationLazily(NSBlockOperation([&] { ran.push_back(2); }));
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_TRUE(ran.empty());
  queue->setSuspended(false);
  queue->addOperationWithBlock([&] { ran.push_back(3); });
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST_F(SerialQueueTest, RunsOneAtATimeAndEachProducersWorkInItsOrder) {
  constexpr int kProducers = 4;
  constexpr int kEach = 20'000;
  const auto queue = makeQueue();
  // Plain variables: the thread sanitizer would see two pieces of work that overlap.
  std::vector<int> next(kProducers, 0);
  int outOfOrder = 0;

  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([&, producer] {
      for (int i = 0; i < kEach; ++i) {
        queue->async([&, producer, i] {
          if (next[producer]++ != i) ++outOfOrder;
        });
      }
    });
  }
  for (auto& producer : producers) producer.join();

  ASSERT_TRUE(settle(*queue));
  EXPECT_EQ(outOfOrder, 0);
  EXPECT_THAT(next, testing::Each(kEach));
}

TEST_F(SerialQueueTest, ItsThreadHasItsName) {
  std::string name;
  const auto queue = makeQueue("org.example.serialState");
  queue->async([&] { name = fileOfTask(gettid(), "comm"); });
  queue->waitUntilIdle();
  EXPECT_EQ(name, "serialState\n");
}

TEST_F(SerialQueueTest, TimersFireWhileTheQueueIsKeptBusy) {
  const auto queue = makeQueue();
  std::atomic<bool> fired{false};
  std::promise<void> done;
  std::function<void()> again = [&] {
    if (fired) return done.set_value();
    queue->async(again);
  };
  queue->async(again);
  queue->after(0.01, [&] { fired = true; });
  EXPECT_TRUE(kept(done));
}

TEST_F(SerialQueueTest, CancelRacingWithTheFiringRunsTheWorkOnceOrNever) {
  const auto queue = makeQueue();
  constexpr int kRounds = 2'000;
  std::vector<int> runs(kRounds, 0);
  std::vector<std::weak_ptr<int>> watched;
  for (int round = 0; round < kRounds; ++round) {
    auto held = std::make_shared<int>(0);
    watched.push_back(held);
    const auto timer =
        queue->after(round % 3 * 1e-5, [&runs, round, held = std::move(held)] { ++runs[round]; });
    std::thread other([&] { timer->cancel(); });
    timer->cancel();
    other.join();
  }
  ASSERT_TRUE(settle(*queue));
  EXPECT_THAT(runs, testing::Each(testing::Le(1)));
  for (const auto& held : watched) EXPECT_TRUE(held.expired());
}

TEST_F(SerialQueueTest, LazyWorkRunsForWhoeverWaitsForTheQueueAndWhenItDies) {
  auto queue = makeQueue();
  int runs = 0;
  for (int round = 1; round <= 1'000; ++round) {
    queue->asyncLazily([&] { ++runs; });
    queue->waitUntilIdle();
    ASSERT_EQ(runs, round);
  }
  std::promise<void> done;
  queue->asyncLazily([&] { done.set_value(); });
  queue.reset();
  EXPECT_TRUE(kept(done));
}

TEST_F(SerialQueueTest, WhoeverWaitsForWhatIsQueuedWaitsForNothingElse) {
  auto queue = makeQueue();
  std::atomic<bool> isBusy = true;
  std::function<void()> busyWork = [&] {
    if (isBusy) queue->async(busyWork);
  };
  int runs = 0;
  for (int round = 1; round <= 100; ++round) {
    queue->async(busyWork);
    queue->asyncLazily([&] { ++runs; });
    queue->waitForQueued();
    ASSERT_EQ(runs, round);
  }
  isBusy = false;
  queue->async([&] { EXPECT_THROW(queue->waitForQueued(), std::logic_error); });
  queue->waitUntilIdle();
}

TEST_F(SerialQueueTest, WhatIsQueuedStillRunsWhenTheQueueDiesAndItsTimersAreDropped) {
  std::promise<void> start, done;
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watched = held;
  auto queue = makeQueue();
  queue->async([&] { start.get_future().wait(); });
  for (int i = 0; i < 100; ++i) queue->async([] {});
  queue->async([&] { done.set_value(); });
  const auto timer = queue->after(3600, [held = std::move(held)] {});
  queue.reset();
  EXPECT_TRUE(watched.expired());
  start.set_value();
  EXPECT_TRUE(kept(done));
  timer->cancel();
}

TEST_F(SerialQueueTest, AQueueMayDieOnItsOwnThread) {
  std::promise<void> done;
  auto queue = makeQueue();
  DispatchQueue& added = *queue;
  added.async([queue = std::move(queue), &done]() mutable {
    queue->async([&done] { done.set_value(); });
    queue.reset();
  });
  EXPECT_TRUE(kept(done));
}

TEST_F(SerialQueueTest, AThousandQueuesLeaveNoThread) {
  const auto first = makeQueue();
  ASSERT_TRUE(settle(*first));  // a sanitizer starts a thread of its own with the first one of the program
  const auto before = threadCount();
  std::atomic<int> ran{0};
  for (int i = 0; i < 1'000; ++i) {
    const auto queue = makeQueue();
    queue->async([&] { ++ran; });
    queue->after(3600, [] {});
  }
  const auto unused = makeQueue();
  EXPECT_TRUE(eventually([&] { return threadCount() == before; })) << threadCount() << " threads";
  EXPECT_EQ(ran, 1'000);
}

TEST_F(SerialQueueTest, AnIdleQueueSleepsUntilItsTimer) {
  const auto queue = makeQueue();
  pid_t thread = 0;
  queue->async([&] { thread = gettid(); });
  ASSERT_TRUE(settle(*queue));
  const auto isAsleep = [&] { return fileOfTask(thread, "stat").find(") S ") != std::string::npos; };
  queue->after(3600, [] {});
  ASSERT_TRUE(settle(*queue));
  ASSERT_TRUE(eventually(isAsleep));

  const std::string before = voluntarySwitches(thread);
  mainLoop.runFor(0.3);
  EXPECT_EQ(voluntarySwitches(thread), before);
  EXPECT_NE(before, "");

  // Nor is it woken by lazy work, which has its place before what comes next all the same.
  std::vector<int> ran;
  queue->asyncLazily([&] { ran.push_back(1); });
  mainLoop.runFor(0.1);
  EXPECT_EQ(voluntarySwitches(thread), before);
  queue->async([&] { ran.push_back(2); });
  ASSERT_TRUE(settle(*queue));
  EXPECT_THAT(ran, ElementsAre(1, 2));

  // An earlier timer cuts the sleep short.
  std::promise<void> done;
  queue->after(0.001, [&] { done.set_value(); });
  EXPECT_TRUE(kept(done));
}

TEST_F(SerialQueueTest, SoonWorkIsFoundByAQueueThatRestsAndWakesOneThatSleeps) {
  const auto queue = makeQueue();
  pid_t thread = 0;
  for (int i = 0; i < 100; ++i) {
    std::promise<void> done;
    queue->asyncSoon([&] {
      thread = gettid();
      done.set_value();
    });
    ASSERT_TRUE(kept(done));
    if (i % 10 != 0) continue;
    EXPECT_TRUE(eventually([&] {  // it has rested long enough, and sleeps
      const std::string before = voluntarySwitches(thread);
      mainLoop.runFor(0.02);
      return voluntarySwitches(thread) == before;
    }));
  }
}

TEST_F(SerialQueueTest, ABurstGivesItsMemoryBack) {
  const auto queue = makeQueue();
  ASSERT_TRUE(settle(*queue));
  const auto before = bytesInUse.load();
  std::promise<void> start;
  queue->async([&] { start.get_future().wait(); });
  for (int i = 0; i < 100'000; ++i) queue->async([] {});
  EXPECT_GT(bytesInUse, before + 1'000'000);
  start.set_value();
  ASSERT_TRUE(settle(*queue));
  ASSERT_TRUE(settle(*queue));  // the second batch begins when the first one's memory is gone
  EXPECT_LT(bytesInUse, before + 4'000);
}

TEST_F(SerialQueueTest, OperationQueuesRunOnTheirUnderlyingQueueOrTheirOwn) {
  const auto underlying = makeQueue();
  const auto given = std::make_shared<NSOperationQueue>(), own = std::make_shared<NSOperationQueue>();
  given->setUnderlyingQueue(underlying);
  int runs = 0;
  NSBlockOperation operation([&] { ++runs; });
  for (int i = 0; i < 2; ++i) operation.start();
  given->addOperation(NSBlockOperation([&] {
    EXPECT_TRUE(underlying->isCurrent() && given->isCurrent() && !own->isCurrent());
    ++runs;
  }));
  given->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(runs, 2) << "one of them is started twice, and runs once";
  std::promise<void> done;
  own->after(0.01, [&] {
    if (own->isCurrent()) done.set_value();
  });
  EXPECT_TRUE(kept(done));
  EXPECT_EQ(own->underlyingQueue(), nullptr);
  EXPECT_THROW(own->setMaxConcurrentOperationCount(2), std::invalid_argument);
}

}  // namespace
