#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/NSTimer.h"
#include "tests/platform/dispatch/DispatchFixture.h"
#include "tests/platform/dispatch/SchedulerContract.h"

using namespace platform;

Scheduler& schedulerUnderTest() { return ThreadScheduler::installed(); }
void pass(double seconds) { ThreadScheduler::installed().ownRunLoop().runFor(seconds); }

namespace {

using MainRunLoopTest = DispatchTest;

TEST_F(MainRunLoopTest, ARunHasItsModeUntilItEndsOrThrows) {
  int fired = 0;
  mainLoop.addTimer(NSTimer::create(0.001, [] { FAIL(); }), RunLoopMode::Default);
  mainLoop.addTimer(NSTimer::create(0.02, [&] { ++fired, mainLoop.stop(); }), RunLoopMode::Tracking);
  mainLoop.perform([&] { EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Tracking); });
  mainLoop.runMode(RunLoopMode::Tracking, 20);
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(mainLoop.currentMode(), RunLoopMode::Default);
  mainLoop.perform([] { throw 1; });
  EXPECT_THROW(mainLoop.runMode(RunLoopMode::Tracking, 20), int);
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

// A queue that never runs dry, one whose work never ends, one that fires timers, one that asks for the main
// loop, all while the process goes.
[[noreturn]] void exitWithWorkInFlight(ThreadScheduler& scheduler) {
  static auto& queues = *new std::vector<std::shared_ptr<DispatchQueue>>;
  for (int i = 0; i < 4; ++i)
    queues.push_back(scheduler.makeSerialQueue("in flight", QualityOfService::Background));
  static const Work& again = *new Work([] { queues[0]->async(again); });
  static auto& stuck = *new std::promise<void>;
  static const Work& fire = *new Work([] { queues[2]->after(0.00001, fire); });
  static const Work& toMain = *new Work([] {
    NSOperationQueue::mainQueue()->addOperationWithBlock([] {});
    Scheduler::current().now();
    queues[3]->async(toMain);
  });

  std::promise<void> allRun;
  queues[0]->async(again);
  queues[2]->async(fire);
  queues[3]->async(toMain);
  queues[1]->async([&] {
    allRun.set_value();
    stuck.get_future().wait();
  });
  allRun.get_future().wait();
  scheduler.ownRunLoop().runFor(0.01);

  const double before = scheduler.uptime();
  static const double& started = *new double(before);
  std::atexit([] {
    std::fprintf(stderr, "left after %s\n", Scheduler::current().uptime() - started < 1 ? "no time" : "long");
  });
  std::exit(7);
}

TEST_F(MainRunLoopTest, WorkInFlightNeitherCrashesNorHoldsUpTheExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitWithWorkInFlight(scheduler), testing::ExitedWithCode(7), "left after no time");
}

}  // namespace
