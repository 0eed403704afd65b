#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/NSTimer.h"
#include "tests/platform/dispatch/DispatchFixture.h"

using namespace platform;
using testing::ElementsAre;

namespace {

class MainRunLoopTest : public DispatchTest {};

TEST_F(MainRunLoopTest, PerformsInOrderFromAnyThreadInEveryMode) {
  std::vector<int> ran;
  mainLoop.perform([&] { ran.push_back(1); });
  std::thread([&] { mainLoop.perform([&] { ran.push_back(2); }); }).join();
  mainLoop.perform([&] {
    EXPECT_TRUE(scheduler.isMainThread());
    EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Tracking);
    mainLoop.perform([&] { ran.push_back(4); });
    ran.push_back(3);
  });
  mainLoop.perform([&] { mainLoop.perform([&] { mainLoop.stop(); }); });
  mainLoop.runMode(RunLoopMode::Tracking, 20);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Default);
}

TEST_F(MainRunLoopTest, AnotherThreadWakesAndStopsASleepingLoop) {
  bool ran = false;
  std::thread other([&] {
    mainLoop.perform([&] { ran = true; });
    mainLoop.perform([&] { std::thread([&] { mainLoop.stop(); }).detach(); });
  });
  mainLoop.run();
  other.join();
  EXPECT_TRUE(ran);
}

TEST_F(MainRunLoopTest, ANestedRunGoesOnWhereTheOuterOneStopped) {
  std::vector<int> ran;
  mainLoop.perform([&] {
    ran.push_back(1);
    mainLoop.runFor(0);
    ran.push_back(3);
  });
  mainLoop.perform([&] { ran.push_back(2); });
  mainLoop.runFor(0);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST_F(MainRunLoopTest, ADefaultTimerWaitsWhileTrackingAndThenFiresOnce) {
  int defaultFired = 0;
  bool trackingFired = false;
  mainLoop.addTimer(NSTimer::create(0.001, [&] { ++defaultFired; }), RunLoopMode::Default);
  mainLoop.addTimer(NSTimer::create(0.02,
                                    [&] {
                                      trackingFired = true;
                                      mainLoop.stop();
                                    }),
                    RunLoopMode::Tracking);
  mainLoop.runMode(RunLoopMode::Tracking, 20);
  EXPECT_TRUE(trackingFired);
  EXPECT_EQ(defaultFired, 0);
  mainLoop.runFor(0);
  EXPECT_EQ(defaultFired, 1);
  mainLoop.runFor(0.01);
  EXPECT_EQ(defaultFired, 1);
}

TEST_F(MainRunLoopTest, TheLoopHoldsATimerUntilItFiredOrIsInvalidated) {
  auto fires = NSTimer::scheduled(0.001, [&] { mainLoop.stop(); });
  std::weak_ptr<NSTimer> watchedFiring = fires;
  fires.reset();
  ASSERT_FALSE(watchedFiring.expired());

  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watchedWork = held;
  auto invalidated = NSTimer::scheduled(3600, [held = std::move(held)] { FAIL(); });
  std::weak_ptr<NSTimer> watchedTimer = invalidated;
  invalidated->invalidate();
  EXPECT_TRUE(watchedWork.expired());
  EXPECT_FALSE(invalidated->isValid());
  mainLoop.addTimer(invalidated, RunLoopMode::Default);  // ignored
  invalidated.reset();
  EXPECT_TRUE(watchedTimer.expired());

  mainLoop.runFor(20);
  EXPECT_TRUE(watchedFiring.expired());
}

TEST_F(MainRunLoopTest, ARepeatingTimerEndsWhenItsWorkInvalidatesIt) {
  int fired = 0;
  std::shared_ptr<NSTimer> timer;
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watched = held;
  timer = NSTimer::create(
      0.002,
      [&, held = std::move(held)] {
        if (++fired < 3) return;
        timer->invalidate();
        timer.reset();
        EXPECT_EQ(*held, 0);  // what runs is not taken away from under itself
        mainLoop.stop();
      },
      true);
  mainLoop.addTimer(timer, RunLoopMode::Common);
  mainLoop.runFor(20);
  EXPECT_EQ(fired, 3);
  EXPECT_TRUE(watched.expired());
}

TEST_F(MainRunLoopTest, TheMainQueueRunsOnTheLoopAndTimesByIt) {
  const auto& queue = NSOperationQueue::mainQueue();
  EXPECT_EQ(queue->underlyingQueue(), nullptr);
  std::vector<int> ran;
  std::shared_ptr<DispatchTimer> cancelledElsewhere = queue->after(0, [] { FAIL(); });
  std::thread([&] {
    EXPECT_FALSE(queue->isCurrent());
    queue->addOperationWithBlock([&] { ran.push_back(1); });
    queue->after(0.01, [&] {
      EXPECT_TRUE(queue->isCurrent());
      ran.push_back(2);
      mainLoop.stop();
    });
    queue->after(0.005, [] { FAIL(); })->cancel();
    cancelledElsewhere->cancel();
  }).join();

  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watched = held;
  queue->after(0, [held = std::move(held)] { FAIL(); })->cancel();
  EXPECT_TRUE(watched.expired());

  mainLoop.runMode(RunLoopMode::Tracking, 20);
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(MainRunLoopTest, WorkThatThrowsLeavesTheModeAsItWasAndTimersAlive) {
  const auto once = NSTimer::create(0.001, [] { throw 1; });
  mainLoop.addTimer(once, RunLoopMode::Common);
  EXPECT_THROW(mainLoop.runMode(RunLoopMode::Tracking, 20), int);
  EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Default);
  EXPECT_FALSE(once->isValid());

  int fired = 0;
  const Work work = [&] { ++fired == 1 ? throw 1 : mainLoop.stop(); };
  mainLoop.addTimer(NSTimer::create(0.001, work, true), RunLoopMode::Default);
  EXPECT_THROW(mainLoop.runFor(20), int);
  mainLoop.runFor(2);
  EXPECT_EQ(fired, 2);
}

TEST_F(MainRunLoopTest, AToolkitKeepsTheLoopTrackingHoweverItIsRun) {
  bool defaultFired = false;
  bool commonFired = false;
  mainLoop.addTimer(NSTimer::create(0.001, [&] { defaultFired = true; }), RunLoopMode::Default);
  const auto letGo = [&] {
    commonFired = true;
    EXPECT_FALSE(defaultFired);
    EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Tracking);
    mainLoop.setCurrentMode(RunLoopMode::Default);
  };
  mainLoop.addTimer(NSTimer::create(0.02, letGo), RunLoopMode::Common);
  mainLoop.setCurrentMode(RunLoopMode::Tracking);
  for (int turns = 0; !defaultFired && turns < 1000; ++turns) mainLoop.runFor(0.02);
  EXPECT_TRUE(commonFired);
  EXPECT_TRUE(defaultFired);
  EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Default);
}

// Another toolkit's event loop, on a thread of its own.
class ForeignLoop : public RunLoop {
 public:
  void perform(Work work) override { performed.push_back(std::move(work)); }
  void addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode) override {
    timer->attach(this);
    timers.push_back(std::move(timer));
  }
  void removeTimer(NSTimer& timer) override {
    std::erase_if(timers, [&](const auto& held) { return held.get() == &timer; });
  }
  RunLoopMode currentMode() const override { return RunLoopMode::Default; }
  bool isMainThread() const override { return std::this_thread::get_id() == thread; }

  std::thread::id thread;
  std::vector<Work> performed;
  std::vector<std::shared_ptr<NSTimer>> timers;
};

TEST_F(MainRunLoopTest, AnotherToolkitsLoopTakesItsPlace) {
  static ForeignLoop& foreign = *new ForeignLoop;
  scheduler.setMainRunLoop(foreign);
  NSOperationQueue::mainQueue()->addOperationWithBlock([] {});
  EXPECT_EQ(foreign.performed.size(), 1u);
  EXPECT_FALSE(scheduler.isMainThread());

  std::thread([&] {
    foreign.thread = std::this_thread::get_id();
    EXPECT_TRUE(scheduler.isMainThread());
    bool fired = false;
    const auto timer = NSTimer::scheduled(0.001, [&] { fired = true; });
    const auto cancelled = NSOperationQueue::mainQueue()->after(3600, [] {});
    ASSERT_EQ(foreign.timers.size(), 2u);
    timer->fire();
    cancelled->cancel();
    EXPECT_TRUE(fired);
    EXPECT_TRUE(foreign.timers.empty());
  }).join();
  scheduler.setMainRunLoop(mainLoop);
}

}  // namespace
