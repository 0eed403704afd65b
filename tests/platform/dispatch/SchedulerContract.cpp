#include "tests/platform/dispatch/SchedulerContract.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/NSTimer.h"

using namespace platform;

namespace {

class SchedulerContract : public testing::Test {
 protected:
  std::shared_ptr<DispatchQueue> makeQueue() {
    return scheduler.makeSerialQueue("test.queue", QualityOfService::Default);
  }
  Work notes(std::string word) {
    return [this, word = std::move(word)] { note(word); };
  }
  void note(const std::string& word) {
    std::lock_guard lock(mutex_);
    noted_ += (noted_.empty() ? "" : " ") + word;
  }
  std::string noted() {
    std::lock_guard lock(mutex_);
    return noted_;
  }
  // Lets time pass until all this was noted, and then some.
  void expectNotes(const std::string& words) {
    for (int i = 0; i < 10'000 && noted().size() < words.size(); ++i) pass(0.002);
    pass(0.02);
    EXPECT_EQ(noted(), words);
  }

  Scheduler& scheduler = schedulerUnderTest();
  RunLoop& loop = scheduler.mainRunLoop();

 private:
  std::mutex mutex_;
  std::string noted_;
};

TEST_F(SchedulerContract, TheLoopPerformsInOrderFromAnyThreadAndWithinARun) {
  loop.perform(notes("1"));
  std::thread([&] { loop.perform(notes("2")); }).join();
  loop.perform([&] {
    EXPECT_TRUE(scheduler.isMainThread());
    note("3");
    pass(0);
    note("5");
    loop.perform(notes("6"));
  });
  loop.perform(notes("4"));
  expectNotes("1 2 3 4 5 6");
}

TEST_F(SchedulerContract, ADefaultTimerWaitsWhileTrackingAndThenFiresOnce) {
  loop.addTimer(NSTimer::create(0.001, notes("default")), RunLoopMode::Default);
  loop.addTimer(NSTimer::create(0.02, notes("common")), RunLoopMode::Common);
  loop.setCurrentMode(RunLoopMode::Tracking);
  loop.perform(notes("performed"));
  expectNotes("performed common");
  EXPECT_EQ(loop.currentMode(), RunLoopMode::Tracking);
  loop.setCurrentMode(RunLoopMode::Default);
  expectNotes("performed common default");
}

TEST_F(SchedulerContract, TheLoopHoldsATimerUntilItFiredOrIsInvalidated) {
  const std::weak_ptr<NSTimer> firing = NSTimer::scheduled(0.001, notes("fired"));
  ASSERT_FALSE(firing.expired());

  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> work = held;
  auto timer = NSTimer::scheduled(0.001, [held = std::move(held)] { FAIL(); });
  const std::weak_ptr<NSTimer> invalidated = timer;
  timer->invalidate();
  EXPECT_TRUE(work.expired());
  EXPECT_FALSE(timer->isValid());
  loop.addTimer(timer, RunLoopMode::Default);  // ignored
  timer.reset();
  EXPECT_TRUE(invalidated.expired());
  expectNotes("fired");
  EXPECT_TRUE(firing.expired());
}

TEST_F(SchedulerContract, ARestartedTimerFiresAWholeIntervalLater) {
  double restarted = 0;
  const auto timer = NSTimer::scheduled(
      0.05, [&] { note(scheduler.uptime() >= restarted + 0.05 ? "in time" : "too early"); });
  pass(0.01);
  restarted = scheduler.uptime();
  timer->restart();
  expectNotes("in time");
}

TEST_F(SchedulerContract, ARepeatingTimerEndsWhenItsWorkInvalidatesIt) {
  auto held = std::make_shared<std::string>("held");
  const std::weak_ptr<std::string> watched = held;
  std::shared_ptr<NSTimer> timer;
  const auto work = [&, count = 0, held = std::move(held)]() mutable {
    note(std::to_string(++count));
    if (count < 3) return;
    timer->invalidate();
    timer.reset();
    note(*held);  // what runs is not taken away from under itself
  };
  timer = NSTimer::create(0.002, work, true);
  loop.addTimer(timer, RunLoopMode::Common);
  expectNotes("1 2 3 held");
}

TEST_F(SchedulerContract, WorkThatThrowsLeavesTheLoopAndItsTimersFitToGoOn) {
  const auto once = NSTimer::create(0.001, [] { throw 1; });
  loop.addTimer(once, RunLoopMode::Common);
  EXPECT_THROW(pass(20), int);
  EXPECT_FALSE(once->isValid());
  const auto work = [&, fired = 0]() mutable { ++fired == 1 ? throw 1 : note("again"); };
  const auto repeating = NSTimer::create(0.3, work, true);
  loop.addTimer(repeating, RunLoopMode::Default);
  EXPECT_THROW(pass(20), int);
  expectNotes("again");
  repeating->invalidate();
}

TEST_F(SchedulerContract, TheMainQueueRunsOnTheLoopAndTimesByIt) {
  const auto& queue = NSOperationQueue::mainQueue();
  EXPECT_EQ(queue->underlyingQueue(), nullptr);
  const std::shared_ptr<DispatchTimer> cancelledElsewhere = queue->after(0, [] { FAIL(); });
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  queue->after(0, [held = std::move(held)] { FAIL(); })->cancel();
  EXPECT_TRUE(watched.expired());
  std::thread([&] {
    EXPECT_FALSE(queue->isCurrent());
    queue->addOperationWithBlock(notes("operation"));
    queue->after(0.01, [&] { note(queue->isCurrent() ? "timed" : "elsewhere"); });
    queue->after(0.005, [] { FAIL(); })->cancel();
    cancelledElsewhere->cancel();
  }).join();
  expectNotes("operation timed");
}

TEST_F(SchedulerContract, WorkSeesItsThreadAndIsReleasedRightAfterItRan) {
  const auto queue = makeQueue(), other = makeQueue();
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  queue->async([&, watched, held = std::move(held)]() mutable {
    EXPECT_TRUE(queue->isCurrent());
    EXPECT_FALSE(other->isCurrent() || scheduler.isMainThread());
    queue->async([&, watched] { note(watched.expired() ? "released" : "held"); });
  });
  expectNotes("released");
  EXPECT_FALSE(queue->isCurrent());
  EXPECT_TRUE(scheduler.isMainThread());
  std::thread([&] { EXPECT_FALSE(scheduler.isMainThread() || queue->isCurrent()); }).join();
}

TEST_F(SchedulerContract, AQueuesTimersFireInOrderOfTimeAndNotBefore) {
  const auto queue = makeQueue();
  const double start = scheduler.uptime();
  // On the queue, so that none fires before all are set, however slow the machine.
  queue->async([&, start] {
    queue->after(0.06, [&, start] {
      EXPECT_GE(scheduler.uptime(), start + 0.06);
      note(queue->isCurrent() ? "3" : "elsewhere");
    });
    queue->after(0.02, notes("1"));
    queue->after(0.04, notes("2"));
    queue->after(-5, notes("0"));
  });
  expectNotes("0 1 2 3");
}

TEST_F(SchedulerContract, CancelHoldsForATimerThatIsAlreadyDueAndReleasesItsWork) {
  const auto queue = makeQueue();
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  const auto far = queue->after(3600, [held = std::move(held)] { FAIL(); });
  far->cancel();
  EXPECT_TRUE(watched.expired());
  far->cancel();
  std::shared_ptr<DispatchTimer> second;
  queue->async([&] {
    // Both are due when this work ends; the first cancels the second.
    queue->after(0, [&] { second->cancel(); });
    second = queue->after(0, [] { FAIL(); });
    queue->after(0, notes("done"));
  });
  expectNotes("done");
}

}  // namespace
