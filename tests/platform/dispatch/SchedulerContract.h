#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

// What every scheduler promises. Time has the `scheduler`, and lets time `pass` on the main thread.
template <typename Time>
class SchedulerContract : public testing::Test {
 protected:
  std::shared_ptr<DispatchQueue> makeQueue() {
    return time.scheduler.makeSerialQueue("test.queue", QualityOfService::Default);
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
    for (int i = 0; i < 10'000 && noted().size() < words.size(); ++i) time.pass(0.002);
    time.pass(0.02);
    EXPECT_EQ(noted(), words);
  }

  Time time;
  RunLoop& loop = time.scheduler.mainRunLoop();

 private:
  std::mutex mutex_;
  std::string noted_;
};

TYPED_TEST_SUITE_P(SchedulerContract);

TYPED_TEST_P(SchedulerContract, TheLoopPerformsInOrderFromAnyThreadAndWithinARun) {
  this->loop.perform(this->notes("1"));
  std::thread([&] { this->loop.perform(this->notes("2")); }).join();
  this->loop.perform([&] {
    EXPECT_TRUE(this->time.scheduler.isMainThread());
    this->note("3");
    this->time.pass(0);
    this->note("5");
    this->loop.perform(this->notes("6"));
  });
  this->loop.perform(this->notes("4"));
  this->expectNotes("1 2 3 4 5 6");
}

TYPED_TEST_P(SchedulerContract, ADefaultTimerWaitsWhileTrackingAndThenFiresOnce) {
  this->loop.addTimer(NSTimer::create(0.001, this->notes("default")), RunLoopMode::Default);
  this->loop.addTimer(NSTimer::create(0.02, this->notes("common")), RunLoopMode::Common);
  this->loop.setCurrentMode(RunLoopMode::Tracking);
  this->loop.perform(this->notes("performed"));
  this->expectNotes("performed common");
  EXPECT_EQ(this->loop.currentMode(), RunLoopMode::Tracking);
  this->loop.setCurrentMode(RunLoopMode::Default);
  this->expectNotes("performed common default");
}

TYPED_TEST_P(SchedulerContract, TheLoopHoldsATimerUntilItFiredOrIsInvalidated) {
  const std::weak_ptr<NSTimer> firing = NSTimer::scheduled(0.001, this->notes("fired"));
  ASSERT_FALSE(firing.expired());

  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> work = held;
  auto timer = NSTimer::scheduled(0.001, [held = std::move(held)] { FAIL(); });
  const std::weak_ptr<NSTimer> invalidated = timer;
  timer->invalidate();
  EXPECT_TRUE(work.expired());
  EXPECT_FALSE(timer->isValid());
  this->loop.addTimer(timer, RunLoopMode::Default);  // ignored
  timer.reset();
  EXPECT_TRUE(invalidated.expired());
  this->expectNotes("fired");
  EXPECT_TRUE(firing.expired());
}

TYPED_TEST_P(SchedulerContract, ARestartedTimerFiresAWholeIntervalLater) {
  double restarted = 0;
  const auto timer = NSTimer::scheduled(
      0.05, [&] { this->note(this->time.scheduler.uptime() >= restarted + 0.05 ? "in time" : "too early"); });
  this->time.pass(0.01);
  restarted = this->time.scheduler.uptime();
  timer->restart();
  this->expectNotes("in time");
}

TYPED_TEST_P(SchedulerContract, ARepeatingTimerEndsWhenItsWorkInvalidatesIt) {
  auto held = std::make_shared<std::string>("held");
  const std::weak_ptr<std::string> watched = held;
  std::shared_ptr<NSTimer> timer;
  const auto work = [&, count = 0, held = std::move(held)]() mutable {
    this->note(std::to_string(++count));
    if (count < 3) return;
    timer->invalidate();
    timer.reset();
    this->note(*held);  // what runs is not taken away from under itself
  };
  timer = NSTimer::create(0.002, work, true);
  this->loop.addTimer(timer, RunLoopMode::Common);
  this->expectNotes("1 2 3 held");
}

TYPED_TEST_P(SchedulerContract, WorkThatThrowsLeavesTheLoopAndItsTimersFitToGoOn) {
  const auto once = NSTimer::create(0.001, [] { throw 1; });
  this->loop.addTimer(once, RunLoopMode::Common);
  EXPECT_THROW(this->time.pass(20), int);
  EXPECT_FALSE(once->isValid());
  const auto work = [&, fired = 0]() mutable { ++fired == 1 ? throw 1 : this->note("again"); };
  const auto repeating = NSTimer::create(0.3, work, true);
  this->loop.addTimer(repeating, RunLoopMode::Default);
  EXPECT_THROW(this->time.pass(20), int);
  this->expectNotes("again");
  repeating->invalidate();
}

TYPED_TEST_P(SchedulerContract, TheMainQueueRunsOnTheLoopAndTimesByIt) {
  const auto& queue = NSOperationQueue::mainQueue();
  EXPECT_EQ(queue->underlyingQueue(), nullptr);
  const std::shared_ptr<DispatchTimer> cancelledElsewhere = queue->after(0, [] { FAIL(); });
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  queue->after(0, [held = std::move(held)] { FAIL(); })->cancel();
  EXPECT_TRUE(watched.expired());
  std::thread([&] {
    EXPECT_FALSE(queue->isCurrent());
    queue->addOperationWithBlock(this->notes("operation"));
    queue->after(0.01, [&] { this->note(queue->isCurrent() ? "timed" : "elsewhere"); });
    queue->after(0.005, [] { FAIL(); })->cancel();
    cancelledElsewhere->cancel();
  }).join();
  this->expectNotes("operation timed");
}

TYPED_TEST_P(SchedulerContract, WorkSeesItsThreadAndIsReleasedRightAfterItRan) {
  const auto queue = this->makeQueue(), other = this->makeQueue();
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  queue->async([&, watched, held = std::move(held)]() mutable {
    EXPECT_TRUE(queue->isCurrent());
    EXPECT_FALSE(other->isCurrent() || this->time.scheduler.isMainThread());
    queue->async([&, watched] { this->note(watched.expired() ? "released" : "held"); });
  });
  this->expectNotes("released");
  EXPECT_FALSE(queue->isCurrent());
  EXPECT_TRUE(this->time.scheduler.isMainThread());
  std::thread([&] { EXPECT_FALSE(this->time.scheduler.isMainThread() || queue->isCurrent()); }).join();
}

TYPED_TEST_P(SchedulerContract, AQueuesTimersFireInOrderOfTimeAndNotBefore) {
  const auto queue = this->makeQueue();
  const double start = this->time.scheduler.uptime();
  // On the queue, so that none fires before all are set, however slow the machine.
  queue->async([&, start] {
    queue->after(0.06, [&, start] {
      EXPECT_GE(this->time.scheduler.uptime(), start + 0.06);
      this->note(queue->isCurrent() ? "3" : "elsewhere");
    });
    queue->after(0.02, this->notes("1"));
    queue->after(0.04, this->notes("2"));
    queue->after(-5, this->notes("0"));
  });
  this->expectNotes("0 1 2 3");
}

TYPED_TEST_P(SchedulerContract, CancelHoldsForATimerThatIsAlreadyDueAndReleasesItsWork) {
  const auto queue = this->makeQueue();
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
    queue->after(0, this->notes("done"));
  });
  this->expectNotes("done");
}

REGISTER_TYPED_TEST_SUITE_P(
    SchedulerContract, TheLoopPerformsInOrderFromAnyThreadAndWithinARun,
    ADefaultTimerWaitsWhileTrackingAndThenFiresOnce, TheLoopHoldsATimerUntilItFiredOrIsInvalidated,
    ARestartedTimerFiresAWholeIntervalLater, ARepeatingTimerEndsWhenItsWorkInvalidatesIt,
    WorkThatThrowsLeavesTheLoopAndItsTimersFitToGoOn, TheMainQueueRunsOnTheLoopAndTimesByIt,
    WorkSeesItsThreadAndIsReleasedRightAfterItRan, AQueuesTimersFireInOrderOfTimeAndNotBefore,
    CancelHoldsForATimerThatIsAlreadyDueAndReleasesItsWork);

}  // namespace platform
