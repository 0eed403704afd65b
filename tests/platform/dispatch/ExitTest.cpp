#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/dispatch/NSOperationQueue.h"
#include "tests/platform/dispatch/DispatchFixture.h"

using namespace platform;

namespace {

class ExitTest : public DispatchTest {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

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

TEST_F(ExitTest, WorkInFlightNeitherCrashesNorHoldsUpTheExit) {
  EXPECT_EXIT(exitWithWorkInFlight(scheduler), testing::ExitedWithCode(7), "left after no time");
}

}  // namespace
