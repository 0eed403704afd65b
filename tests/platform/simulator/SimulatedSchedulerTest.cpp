#include "platform/simulator/SimulatedScheduler.h"

#include <gmock/gmock.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/NSTimer.h"
#include "tests/platform/dispatch/SchedulerContract.h"

using namespace platform;
using testing::ElementsAre;

Scheduler& schedulerUnderTest() { return SimulatedScheduler::installNew(); }
void pass(double seconds) { dynamic_cast<SimulatedScheduler&>(Scheduler::current()).advance(seconds); }

namespace {

class SimulatedSchedulerTest : public testing::Test {
 protected:
  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  std::vector<std::string> log;

  Work note(std::string line) {
    return [this, line = std::move(line)] { log.push_back(line); };
  }
  std::shared_ptr<DispatchQueue> makeQueue() {
    return scheduler.makeSerialQueue("test.queue", QualityOfService::Background);
  }
};

TEST_F(SimulatedSchedulerTest, FiresAtItsTimeHoweverThatIsReached) {
  const double start = scheduler.uptime();
  double firedAt = 0;
  NSTimer::scheduled(300, [&] { firedAt = scheduler.uptime(); });
  // Steps that binary fractions do not add up to exactly.
  for (int i = 0; i < 2'999; ++i) scheduler.advance(0.1);
  EXPECT_EQ(firedAt, 0);
  EXPECT_EQ(scheduler.pendingTimerCount(), 1u);
  scheduler.advance(0.1);
  EXPECT_DOUBLE_EQ(firedAt, start + 300);
  EXPECT_EQ(scheduler.pendingTimerCount(), 0u);
}

TEST_F(SimulatedSchedulerTest, FiresInOrderOfTimeThenOfSchedulingAndDrainsInBetween) {
  const auto queue = makeQueue();
  const auto other = makeQueue();
  queue->after(2, note("second"));
  NSTimer::scheduled(1, [&] {
    log.push_back("first");
    other->async([&] {
      log.push_back("queued by first");
      queue->after(1, note("third, set later for the same time"));
    });
  });
  other->after(1, note("also at one"));
  queue->after(5, note("never in time"));
  auto dying = makeQueue();
  dying->async(note("a"));
  NSOperationQueue::mainQueue()->addOperationWithBlock(note("b"));
  dying->async(note("c"));
  const auto dropped = dying->after(0, note("dropped with its queue"));
  dying.reset();
  EXPECT_TRUE(log.empty());

  scheduler.advance(3);
  EXPECT_THAT(log, ElementsAre("a", "b", "c", "first", "queued by first", "also at one", "second",
                               "third, set later for the same time"));
  dropped->cancel();
}

TEST_F(SimulatedSchedulerTest, TheWallClockDoesNotDisturbTimers) {
  const NSDate past = NSDate::withTimeIntervalSince1970(86'400);
  makeQueue();
  const auto timer = NSTimer::scheduled(10, note("fired"));
  scheduler.advance(5);
  scheduler.setWallClock(past);
  EXPECT_EQ(scheduler.now(), past);
  scheduler.advance(4.9);
  EXPECT_TRUE(log.empty());
  scheduler.setWallClock(past.adding(1e9));
  scheduler.drain();
  EXPECT_TRUE(log.empty());
  scheduler.advance(0.1);
  EXPECT_THAT(log, ElementsAre("fired"));
  EXPECT_NEAR(scheduler.now().timeIntervalSince(past), 1e9 + 0.1, 1e-3);
}

TEST_F(SimulatedSchedulerTest, ARepeatingTimerThatHadToWaitFiresOnceAndThenInItsTime) {
  const auto repeating = NSTimer::create(1, note("default"), true);
  scheduler.mainRunLoop().addTimer(repeating, RunLoopMode::Default);
  makeQueue()->after(1, note("dropped with its queue"));
  scheduler.setMainRunLoopMode(RunLoopMode::Tracking);
  scheduler.advance(5.5);
  EXPECT_THAT(log, ElementsAre());
  scheduler.setMainRunLoopMode(RunLoopMode::Default);
  scheduler.drain();
  EXPECT_THAT(log, ElementsAre("default"));
  scheduler.advance(0.5);
  EXPECT_THAT(log, ElementsAre("default", "default"));
  repeating->invalidate();
  EXPECT_EQ(scheduler.pendingTimerCount(), 0u);
}

TEST_F(SimulatedSchedulerTest, WorkOfAQueueMayNotDrainMayThrowAndMayNotRunForEver) {
  const auto queue = makeQueue();
  queue->async([&] { EXPECT_THROW(scheduler.drain(), std::logic_error); });
  queue->async([] { throw std::out_of_range("thrown by work"); });
  queue->async(note("after"));
  EXPECT_THROW(scheduler.drain(), std::out_of_range);
  EXPECT_TRUE(scheduler.isMainThread());
  scheduler.drain();
  EXPECT_THAT(log, ElementsAre("after"));
  std::function<void()> again = [&] { queue->async(again); };
  queue->async(again);
  EXPECT_THROW(scheduler.drain(), std::runtime_error);
}

TEST_F(SimulatedSchedulerTest, WaitsForWorkThatOtherThreadsHandOver) {
  constexpr int kEach = 1'000;
  const auto queue = makeQueue();
  int onQueue = 0;
  int onMain = 0;
  std::vector<std::thread> others;
  for (int i = 0; i < 3; ++i) {
    others.emplace_back([&] {
      for (int n = 0; n < kEach; ++n) {
        queue->async([&] { ++onQueue; });
        scheduler.mainRunLoop().perform([&] { ++onMain; });
        queue->after(3600, [] {})->cancel();
        scheduler.now();
      }
    });
  }
  EXPECT_TRUE(scheduler.runUntil([&] { return onQueue == 3 * kEach && onMain == 3 * kEach; }, 20));
  for (auto& other : others) other.join();

  EXPECT_FALSE(scheduler.runUntil([] { return false; }, 0.01));
}

TEST_F(SimulatedSchedulerTest, AHandOverWakesASchedulerThatWaits) {
  const auto queue = makeQueue();
  bool done = false;
  const Work finish = [&] { done = true; };
  const Work ways[] = {[&] { queue->async(finish); }, [&] { queue->after(0, finish); },
                       [&] { scheduler.mainRunLoop().perform(finish); }};
  for (const Work& handOver : ways) {
    done = false;
    std::thread other;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(scheduler.runUntil(
        [&] {
          if (!other.joinable()) other = std::thread(handOver);  // nothing is left to run
          return done;
        },
        20));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    other.join();
  }
}

TEST_F(SimulatedSchedulerTest, QueuesAndTimersMayOutliveTheirScheduler) {
  auto own = std::make_unique<SimulatedScheduler>();
  auto queue = own->makeSerialQueue("outlives", QualityOfService::Default);
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watched = held;
  const auto timer = queue->after(1, [held, queue] {});
  const auto loopTimer = NSTimer::create(1, [] {});
  own->mainRunLoop().addTimer(loopTimer, RunLoopMode::Default);
  queue->async([held, queue] {});
  held.reset();
  own.reset();
  EXPECT_TRUE(watched.expired());
  timer->cancel();
  loopTimer->invalidate();
}

}  // namespace
