// Logging, bailing, safe operations, the safe way onto the main queue, and the timer that delivers them. What
// becomes of an exception is told by the facade's test.

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <stdexcept>

#include "platform/foundation/SystemLog.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using namespace testing;

namespace {

// The place that error reports name.
constexpr kova::Place kPlace{"NSObject", "checkout:"};

using LoggingAndBailingTest = TrackerTest;

TEST_F(LoggingAndBailingTest, EachLevelAddsLinesWithItsPrefixAndFormatsNoOther) {
  struct Probe {
    int& descriptions;
    std::string description() const { return std::to_string(++descriptions); }
  };
  const std::vector<std::string> lines = {"Kova: a 1 1", "[KOVA DEBUG]: b 2 2", "[KOVA VERBOSE]: c 3% 3"};
  for (const int level : {0, 1, 2}) {
    int descriptions = 0;
    KovaLogger::sharedInstance().setLogLevel(level);
    device.clearLog();
    KovaLog("a %@ %ld", Probe{descriptions}, 1L);
    KovaLogDebug("b %@ %@", Probe{descriptions}, 2);
    KovaLogVerbose("c %@%% %lu", Probe{descriptions}, 3ul);
    EXPECT_EQ(device.log(), std::vector(lines.begin(), lines.begin() + level + 1));
    EXPECT_EQ(descriptions, level + 1);
  }
}

// Not while the bailer is made, which the log sink's call asks for again.
TEST_F(LoggingAndBailingTest, ASystemBefore10IsTooOldAndTheLogSinkToldOfItMayCallTheLibrary) {
  device.setSystemVersion("9.3.5");
  std::string lines;
  SystemLog::setSink([&lines](std::string_view line) {
    lines += line;
    Kova::track("Logged");
  });
  device.start();
  device.advance(60);
  SystemLog::setSink(nullptr);
  EXPECT_EQ(
      lines,
      "Kova: The Kova library has been disabled because this device is running a version of iOS older than 10.0.");
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "assertMinimumOSVersion");
  EXPECT_EQ(device.service.requestCount(), 0u);
}

TEST_F(LoggingAndBailingTest, System10WillDo) {
  device.setSystemVersion("10.0");
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

TEST_F(LoggingAndBailingTest, AForkedChildIsSilentAndSaysSoOnce) {
  const auto options = device.options();
  options->setDebug(true);
  device.startAndSettle(options);
  device.clearLog();
  const std::size_t before = device.service.requestCount();
  if (fork() == 0) {
    Kova::track("Tracked in the child");
    Kova::identify("child");
    Kova::initialize(SimulatedDevice::kEnvironment);
    device.advance(60);
    const auto log = device.log();
    _exit(log.size() == 1 && log[0].find("forked") != std::string::npos ? 0 : 1);
  }
  int status = -1;
  ASSERT_GT(wait(&status), 0);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_EQ(device.service.requestCount(), before);
  EXPECT_EQ(Kova::identity(), std::nullopt);
}

class SafeOperationTest : public TrackerTest {
 protected:
  Work record(std::string what) {
    return [this, what] { ran.push_back(what); };
  }

  std::shared_ptr<NSOperationQueue> queue = KOVA_serialStateQueue();
  std::vector<std::string> ran;
};

TEST_F(SafeOperationTest, TheSerialStateQueueIsOneOfTheLowestClass) {
  EXPECT_EQ(KOVA_serialStateQueue(), queue);
  EXPECT_EQ(queue->name(), "com.Kova.serialState");
  EXPECT_EQ(queue->underlyingQueue()->label(), "com.Kova.serialState");
  EXPECT_EQ(static_cast<int>(queue->qualityOfService()), 9);
}

TEST_F(SafeOperationTest, RunsInOrderAndIsSkippedOnceBailedUnlessItRunsAnyway) {
  const auto fail = [] { throw std::runtime_error("on fire"); };
  KOVA_addSafeOperationWithBlock(*queue, fail, kPlace, kova::OnException::Report);
  KOVA_addSafeOperationWithBlock(*queue, record("first"), kPlace);
  KOVA_addSafeOperationWithBlock(*queue, record("second"), kPlace);
  EXPECT_THAT(ran, IsEmpty());
  device.drain();
  EXPECT_THAT(ran, ElementsAre("first", "second"));
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("NSObject/checkout:. (name: std::runtime_error, "
                                                  "reason: on fire, userInfo: (null)")));
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), std::nullopt);

  KOVA_addSafeOperationWithBlock(*queue, fail, kPlace);
  KOVA_addSafeOperationWithBlock(*queue, record("skipped"), kPlace);
  KOVA_addSafeOperationWithBlock(*queue, record("anyway"), kPlace, kova::OnException::Bail,
                                 kova::WhenBailed::RunAnyway);
  device.drain();
  KOVA_performSafelyOnMainQueueWithBlock(record("main"), kPlace);
  EXPECT_THAT(ran, ElementsAre("first", "second", "anyway"));
}

TEST_F(SafeOperationTest, TheMainQueueRunsAtOnceOnTheMainThreadAndLaterFromElsewhere) {
  KOVA_performSafelyOnMainQueueWithBlock(record("at once"), kPlace);
  EXPECT_THAT(ran, ElementsAre("at once"));
  queue->addOperationWithBlock([&] {
    KOVA_performSafelyOnMainQueueWithBlock(
        [&] { ran.push_back(Scheduler::current().isMainThread() ? "on main" : "elsewhere"); }, kPlace);
    ran.push_back("first the caller");
  });
  device.drain();
  EXPECT_THAT(ran, ElementsAre("at once", "first the caller", "on main"));
}

TEST_F(SafeOperationTest, AThreadMayEndItselfInGuardedWork) {
  const auto guardedEnd = [](void* test) -> void* {
    kova::guarded(kPlace, [] { pthread_exit(nullptr); });
    return test;
  };
  pthread_t thread;
  pthread_create(&thread, nullptr, guardedEnd, this);
  void* result = this;
  pthread_join(thread, &result);
  EXPECT_EQ(result, nullptr);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

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
  struct StandingLoop : RunLoop {
    void perform(Work) override {}
    void addTimer(std::shared_ptr<NSTimer>, RunLoopMode) override {}
    void removeTimer(NSTimer&) override {}
    RunLoopMode currentMode() const override { return RunLoopMode::Default; }
  };
  Scheduler& scheduler_;
  StandingLoop loop_;
};

TEST_F(SafeOperationTest, ACallThatWaitsForAMainLoopThatStandsIsToldOnce) {
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  Scheduler::install(std::make_unique<SchedulerWhoseMainLoopStands>(device.scheduler));
  KOVA_performSafelyOnMainQueueWithBlock([] {}, kPlace);
  device.advance(4.9);
  EXPECT_THAT(device.log(), IsEmpty());
  KOVA_performSafelyOnMainQueueWithBlock([] {}, kPlace);
  device.advance(60);
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("wait for the main run loop, which has not run for 5")));
}

TEST_F(SafeOperationTest, ATimerDeliversOnceOnItsQueueWhichItKeepsUntilThen) {
  auto ownQueue = std::make_shared<NSOperationQueue>();
  const std::weak_ptr<NSOperationQueue> watched = ownQueue;
  const auto early =
      KovaTimer::scheduleSafeOperationWithBlock(record("early"), 1, std::exchange(ownQueue, nullptr));
  const auto timer = KovaTimer::scheduleSafeOperationWithBlock(
      [this] { ran.push_back(queue->isCurrent() ? "on the queue" : "elsewhere"); }, 2.5, queue);
  EXPECT_FALSE(watched.expired());
  device.advance(2.49);
  EXPECT_TRUE(watched.expired());
  EXPECT_TRUE(timer->isRunning());
  EXPECT_THAT(ran, ElementsAre("early"));
  device.advance(0.02);
  EXPECT_FALSE(timer->isRunning());
  for (const auto& fired : {early, timer}) fired->cancel();  // too late, and harmless
  device.advance(10);
  EXPECT_THAT(ran, ElementsAre("early", "on the queue"));
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
}

// On threads: the timer falls due while the queue is busy with what cancels it.
TEST(KovaTimerTest, DeliversNothingOnceItIsCancelledHoweverLateTheQueueIs) {
  const auto queue = std::make_shared<NSOperationQueue>();
  std::promise<std::shared_ptr<KovaTimer>> scheduled;
  std::atomic<bool> isDelivered = false;
  queue->addOperationWithBlock([&scheduled] {
    const auto timer = scheduled.get_future().get();
    const double due = Scheduler::current().uptime() + 0.01;
    while (Scheduler::current().uptime() <= due) {
    }
    timer->cancel();
  });
  scheduled.set_value(
      KovaTimer::scheduleSafeOperationWithBlock([&isDelivered] { isDelivered = true; }, 0.01, queue));
  for (int i = 0; i < 2; ++i) queue->waitUntilAllOperationsAreFinished();  // also what those have added
  EXPECT_FALSE(isDelivered);
}

}  // namespace
