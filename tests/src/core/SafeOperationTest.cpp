// Safe operations, the safe way onto the main queue, and the timer that delivers them.

#include <gmock/gmock.h>

#include <pthread.h>

#include <stdexcept>

#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class SafeOperationTest : public testing::Test {
 protected:
  // The place that error reports name.
  kova::Place place() const { return {"NSObject", "checkout:"}; }
  Work record(std::string what) {
    return [this, what] { ran.push_back(what); };
  }
  static void fail() { throw std::runtime_error("on fire"); }

  SimulatedDevice device;
  std::shared_ptr<NSOperationQueue> queue = KOVA_serialStateQueue();
  std::vector<std::string> ran;
};

TEST_F(SafeOperationTest, TheSerialStateQueueIsOneOfTheLowestClass) {
  EXPECT_EQ(KOVA_serialStateQueue(), queue);
  EXPECT_EQ(queue->name(), "com.Kova.serialState");
  EXPECT_EQ(queue->underlyingQueue()->label(), "com.Kova.serialState");
  EXPECT_EQ(static_cast<int>(queue->qualityOfService()), 9);
}

TEST_F(SafeOperationTest, RunsInOrderAndNotBeforeTheQueueDoes) {
  KOVA_addSafeOperationWithBlock(*queue, record("first"), place());
  KOVA_addSafeOperationWithBlock(*queue, record("second"), place());
  EXPECT_THAT(ran, SizeIs(0));
  device.drain();
  EXPECT_THAT(ran, ElementsAre("first", "second"));
}

TEST_F(SafeOperationTest, IsSkippedOnceBailedUnlessItRunsAnyway) {
  KOVA_addSafeOperationWithBlock(*queue, record("skipped"), place());
  KOVA_addSafeOperationWithBlock(*queue, record("anyway"), place(), kova::OnException::Bail,
                                 kova::WhenBailed::RunAnyway);
  KIBailer::sharedBailer().bailWithSource("Test/bail");
  KOVA_performSafelyOnMainQueueWithBlock(record("main"), place());
  device.drain();
  EXPECT_THAT(ran, ElementsAre("anyway"));
}

TEST_F(SafeOperationTest, AnExceptionIsReportedUnderItsPlaceAndBailsUnlessToldOtherwise) {
  KOVA_addSafeOperationWithBlock(*queue, &fail, place(), kova::OnException::Report);
  KOVA_addSafeOperationWithBlock(*queue, record("goes on"), place());
  KOVA_addSafeOperationWithBlock(*queue, &fail, place());
  KOVA_addSafeOperationWithBlock(*queue, record("not any more"), place());
  EXPECT_NO_THROW(device.drain());
  EXPECT_THAT(ran, ElementsAre("goes on"));
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "NSObject/checkout:");
  const auto reports = device.logLinesWith("caught an exception at NSObject/checkout:.");
  ASSERT_THAT(reports, SizeIs(2));
  EXPECT_THAT(reports[0], HasSubstr("(name: std::runtime_error, reason: on fire, userInfo: (null)"));
  EXPECT_THAT(device.logLinesWith("disabled"), SizeIs(1));
}

TEST_F(SafeOperationTest, TheMainQueueRunsAtOnceOnTheMainThreadAndLaterFromElsewhere) {
  KOVA_performSafelyOnMainQueueWithBlock(record("at once"), place());
  EXPECT_THAT(ran, ElementsAre("at once"));

  queue->addOperationWithBlock([&] {
    KOVA_performSafelyOnMainQueueWithBlock(
        [&] { ran.push_back(Scheduler::current().isMainThread() ? "on main" : "elsewhere"); }, place());
    ran.push_back("first the caller");
  });
  device.drain();
  EXPECT_THAT(ran, ElementsAre("at once", "first the caller", "on main"));

  EXPECT_NO_THROW(KOVA_performSafelyOnMainQueueWithBlock(&fail, place()));
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "NSObject/checkout:");
}

TEST_F(SafeOperationTest, AThreadMayEndItselfInGuardedWork) {
  pthread_t thread;
  pthread_create(
      &thread, nullptr,
      [](void* test) -> void* {
        kova::guarded({"NSObject", "checkout:"}, [] { pthread_exit(nullptr); });
        return test;
      },
      this);
  void* result = this;
  pthread_join(thread, &result);
  EXPECT_EQ(result, nullptr);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

// The scheduler of the device, but for a main run loop that keeps what it is given.
class SchedulerWhoseMainLoopStands : public Scheduler {
 public:
  explicit SchedulerWhoseMainLoopStands(Scheduler& scheduler) : scheduler_(scheduler) {}

  NSDate now() override { return scheduler_.now(); }
  double uptime() override { return scheduler_.uptime(); }
  std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label, QualityOfService quality) override {
    return scheduler_.makeSerialQueue(std::move(label), quality);
  }
  RunLoop& mainRunLoop() override { return loop_; }
  bool isMainThread() override { return false; }

 private:
  class StandingLoop : public RunLoop {
   public:
    void perform(Work work) override { works_.push_back(std::move(work)); }
    void addTimer(std::shared_ptr<NSTimer>, RunLoopMode) override {}
    void removeTimer(NSTimer&) override {}
    RunLoopMode currentMode() const override { return RunLoopMode::Default; }

   private:
    std::vector<Work> works_;
  };

  Scheduler& scheduler_;
  StandingLoop loop_;
};

TEST_F(SafeOperationTest, ACallThatWaitsForAMainLoopThatStandsIsToldOnce) {
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  Scheduler::install(std::make_unique<SchedulerWhoseMainLoopStands>(device.scheduler));
  const auto call = [this] { KOVA_performSafelyOnMainQueueWithBlock(record("never"), place()); };
  call();
  device.advance(4.9);
  EXPECT_THAT(device.log(), SizeIs(0));
  call();
  device.advance(60);
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("wait for the main run loop, which has not run for 5")));
  EXPECT_THAT(ran, SizeIs(0));
}

TEST_F(SafeOperationTest, ATimerDeliversOnceOnItsQueue) {
  const auto timer = KovaTimer::scheduleSafeOperationWithBlock(
      [this] { ran.push_back(queue->isCurrent() ? "on the queue" : "elsewhere"); }, 2.5, queue);
  device.advance(2.49);
  EXPECT_TRUE(timer->isRunning());
  EXPECT_THAT(ran, SizeIs(0));
  device.advance(0.02);
  EXPECT_FALSE(timer->isRunning());
  timer->cancel();  // too late, and harmless
  device.advance(10);
  EXPECT_THAT(ran, ElementsAre("on the queue"));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(SafeOperationTest, ACancelledTimerReadsSoAtOnceAndDeliversNothing) {
  const auto token = std::make_shared<int>();
  const auto timer =
      KovaTimer::scheduleSafeOperationWithBlock([this, token] { ran.push_back("fired"); }, 1, queue);
  timer->cancel();
  EXPECT_FALSE(timer->isRunning());
  device.drain();
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
  EXPECT_EQ(token.use_count(), 1) << "the callback is released";
  device.advance(5);
  EXPECT_THAT(ran, SizeIs(0));
}

TEST_F(SafeOperationTest, ATimerKeepsItsQueueUntilItHasFired) {
  auto ownQueue = std::make_shared<NSOperationQueue>();
  const std::weak_ptr<NSOperationQueue> watched = ownQueue;
  const auto timer = KovaTimer::scheduleSafeOperationWithBlock(record("fired"), 1, ownQueue);
  ownQueue.reset();
  EXPECT_FALSE(watched.expired());
  device.advance(1);
  EXPECT_THAT(ran, ElementsAre("fired"));
  EXPECT_TRUE(watched.expired());
  timer->cancel();  // of a queue that is gone
  device.drain();
}

TEST_F(SafeOperationTest, ATimersFailureNamesTheTimer) {
  KovaTimer::scheduleSafeOperationWithBlock(&fail, 1, queue);
  EXPECT_NO_THROW(device.advance(1));
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(),
            "KovaTimer/scheduleSafeOperationWithBlock:afterTimeInterval:inQueue:");
}

}  // namespace
