// Start, stop, background and foreground, and the end of a session.

#include <malloc.h>

#include <filesystem>
#include <map>
#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/foundation/NSFileManager.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/core/tracker/KovaTracker.h"
#include "tests/src/core/TrackerFixture.h"
#include "tests/support/HeldURLSession.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

using TrackerLifeCycleTest = TrackerTest;

TEST_F(TrackerLifeCycleTest, TrackingDisabledFromTheStartEnqueuesNothing) {
  const auto options = device.options();
  options->setDisableTracking(true);
  const auto ignoring = [](const std::string& what) {
    return "[KOVA DEBUG]: Tracking disabled, ignoring: <" + what + ">";
  };
  EXPECT_THAT(linesOf([&] { device.start(options); }), Contains(ignoring("Lifecycle Event")));
  EXPECT_FALSE(Kova::isTrackingEnabled());
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u) << "the session's timer runs all the same";
  EXPECT_THAT(
      linesOf([] {
        Kova::track("Checkout");
        Kova::frameworkAutocaptureEvent("Tap", "react");
        Kova::frameworkTrack("Swipe", {}, "react");
        Kova::addUserProperties({{"a", 1}});
        Kova::addEventProperties({{"a", 1}});
        Kova::identify(3);
      }),
      ElementsAre(ignoring("Checkout"), ignoring("Tap"), ignoring("Swipe"), ignoring("Add User Properties"),
                  ignoring("Add Event Properties"), ignoring("Identity")));
  device.advance(60);
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 0u);
  Kova::setTrackingEnabled(true);
  Kova::track("Checkout");
  device.upload();
  EXPECT_THAT(sentEvents(), ElementsAre("Checkout"));
}

TEST_F(TrackerLifeCycleTest, TheBackgroundStoresSendsAndSuspendsAndTheForegroundMakesUpForIt) {
  device.startAndSettle();
  const std::string firstPageview = at(lastMessage(), "pageviewInfo/id").description();
  device.setOnline(false);
  Kova::track("Checkout");
  device.application->enterBackground();
  device.drain();
  EXPECT_EQ(storedCount("parts"), 0u);
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u);
  EXPECT_THAT(device.batchFiles(), SizeIs(1));
  device.setOnline(true);
  device.advance(60);
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 2u) << "uploads are suspended";
  device.application->enterForeground();
  device.runUntilRequests(4);  // a pageview and a batch, at once
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "Checkout"));
  EXPECT_THAT(sentParameters("/h", "v"), ElementsAre(firstPageview, Ne(firstPageview)));
  EXPECT_THAT(sentParameters("/h", "z"), ElementsAre("0", "2"));
  EXPECT_THAT(sentParameters("/h", "ts"), ElementsAre(SimulatedDevice::kStartTime, "1767225660000"));
  Kova::track("Later");
  device.upload();
  EXPECT_THAT(sentEvents(), Contains("Later")) << "scheduled uploads have resumed";
  Kova::track("Last");
  device.application->enterBackground();
  device.drain();
  device.settle();
  EXPECT_THAT(sentEvents(), Contains("Last"));
}

TEST_F(TrackerLifeCycleTest, TheForegroundRecordsNothingWithoutAnEarlierPageviewOrTrackingButStores) {
  const auto options = device.options();
  options->setDisableTracking(true);
  options->setDebug(true);
  device.start(options);
  const auto comeBack = [this] {
    device.application->enterForeground();
    device.advance(15);
    device.settle();
  };
  device.application->enterBackground();
  comeBack();
  Kova::setTrackingEnabled(true);
  Kova::track("Checkout");
  device.upload();
  device.application->enterBackground();
  device.drain();
  Kova::track("In the background");
  Kova::setTrackingEnabled(false);
  comeBack();
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u);
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(1));
  Kova::setTrackingEnabled(true);
  device.application->enterBackground();
  comeBack();
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), SizeIs(2)) << "one for each return before";
}

TEST_F(TrackerLifeCycleTest, InitializingAgainStopsAndStoresWhatWasQueuedBeforeFirst) {
  device.startAndSettle();
  device.setOnline(false);
  const std::string userId = Kova::userId().value();
  const std::string sessionId = Kova::sessionId().value();
  const std::weak_ptr<KovaTracker> first = KovaTracker::sharedTracker();
  bool isBusy = true;
  const std::function<void()> busyWork = [&] {
    if (isBusy) KOVA_serialStateQueue()->addOperationWithBlock(busyWork);
  };
  busyWork();
  Kova::identify("ada");
  Kova::track("First");
  device.start();  // waits for what was queued before, and no longer
  isBusy = false;
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u);
  EXPECT_EQ(Kova::userId(), userId);
  EXPECT_EQ(Kova::identity(), "ada");
  EXPECT_NE(Kova::sessionId(), sessionId);

  Kova::track("Second");
  device.drain();
  EXPECT_TRUE(first.expired());
  device.setOnline(true);
  device.upload();
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "First", "Second"));
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(2));
  EXPECT_THAT(device.receivedTargets("/api/identify_v3"), SizeIs(1));
  EXPECT_THAT(device.batchFiles(), IsEmpty());
}

// Other threads go on calling the tracker that they found when they called.
TEST_F(TrackerLifeCycleTest, CallsThatReachTheTrackerBeforeAreNotLostAndSetNoTimer) {
  device.startAndSettle();
  const std::size_t timers = device.scheduler.pendingTimerCount();
  auto before = KovaTracker::sharedTracker();
  const std::weak_ptr<KovaTracker> stopped = before;
  device.start();
  Kova::addEventProperties({{"new", 1}});
  Kova::track("New");
  device.drain();
  before->addEventProperties(Value{{"late", 1}});
  before->recordCustomEvent("Late", std::nullopt);
  const std::string sessionId = *Kova::sessionId();
  device.upload();
  EXPECT_EQ(storedText("eventProperties"), R"({"new":"1","late":"1"})");
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "New", "Late"));
  EXPECT_EQ(at(lastMessage(), "sessionInfo/id"), Value(sessionId));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), timers);

  before->identify(Value("ada"));
  before->resetIdentity();
  device.drain();
  EXPECT_NE(Kova::sessionId(), sessionId) << "the session in force ends with its user";
  Kova::initialize("777", device.options());
  for (int i = 0; i < 201; ++i) before->recordCustomEvent("For an environment that was left", std::nullopt);
  before = nullptr;
  device.drain();
  EXPECT_EQ(storedCount("parts") + storedCount("queuedMessageBatches"), 1u);
  EXPECT_TRUE(stopped.expired());
}

TEST_F(TrackerLifeCycleTest, ANewUploaderDoesNotWaitForTheRequestOfTheOneBefore) {
  device.startAndSettle();
  device.service.handle("/api/integrations/ios/track",
                        [](const HttpServer::Request&) { return HttpServer::Reply::stall(); });
  Kova::track("First");
  device.advance(15);
  device.runUntil([this] { return device.service.requestCount() == 3; });
  device.start();
  Kova::track("Second");
  device.drain();
  device.runUntil([this] { return device.receivedTargets("/h").size() == 2; });
}

TEST_F(TrackerLifeCycleTest, TheInstallationIsStoredAsSoonAsItsVersionIs) {
  device.start(device.optionsWithScreens());  // no pageview comes that would store it
  device.drain();
  EXPECT_EQ(storedCount("parts"), 1u);
}

// A request that was under way, and whoever else still holds a part of it, brings nothing back.
TEST_F(TrackerLifeCycleTest, ErasingLeavesNothingStored) {
  const auto session = std::make_shared<HeldURLSession>();
  const auto options = device.options();
  options->setTestOnlyUrlSession(session);
  device.start(options);
  Kova::identify("ada");
  Kova::track("Checkout");
  device.application->enterBackground();
  device.drain();
  const auto user = Kova::userId();
  const auto before = KovaTracker::sharedTracker();
  const std::string journal = directories().applicationSupport + "/kova-12345.journal";
  ASSERT_TRUE(std::filesystem::exists(journal) && std::filesystem::exists(device.batchDirectory()));
  ASSERT_FALSE(session->open.empty());

  EXPECT_TRUE(Kova::eraseStored(SimulatedDevice::kEnvironment));
  Kova::track("Refused");
  for (const auto& request : session->takeOpen()) request.fail();
  device.drain();
  for (const char* key : {"userId", "identity", "queuedPageviews", "parts", "queuedMessageBatches"})
    EXPECT_EQ(storedText(key), "(nothing)") << key;
  EXPECT_FALSE(std::filesystem::exists(journal) || std::filesystem::exists(device.batchDirectory()));

  device.start();
  before->identify(Value("ada"));
  before->recordCustomEvent("Called before, and done now", std::nullopt);
  device.drain();
  EXPECT_NE(Kova::userId(), user);
  EXPECT_EQ(Kova::identity(), std::nullopt);
  device.upload();
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent")) << "as after an installation";
}

std::ptrdiff_t entriesOf(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

TEST_F(TrackerLifeCycleTest, RepeatedInitializationLeavesNothingBehind) {
  device.service.keepRequests(false);
  std::size_t count = 0;
  const auto initializeTimes = [&](int times) {
    for (int i = 0; i < times; ++i) {
      device.start();
      Kova::track("Checkout", {{"number", i}, {"plan", "a text that does not fit into a value in place"}});
      Kova::addEventProperties({{"number", i}});
      Kova::identify(i % 2 == 0 ? "ada" : "grace");
      if (i % 10 == 9) device.runUntilRequests(++count);
    }
    Kova::track("Last");
    device.advance(15);
    device.runUntilRequests(++count);
    device.clearLog();
  };

  const auto holdings = [this] {
    return std::map<std::string, std::ptrdiff_t>{{"threads", entriesOf("/proc/self/task")},
                                                 {"descriptors", entriesOf("/proc/self/fd")},
                                                 {"timers", device.scheduler.pendingTimerCount()},
                                                 {"bytes", mallinfo2().uordblks}};
  };
  initializeTimes(50);
  const auto before = holdings();
  initializeTimes(1000);
  const auto after = holdings();
  // Connections, with a descriptor at each end and a thread of the server, come and go. 200 bytes an
  // initialization.
  for (const auto& [what, more] :
       {std::pair("threads", 10), {"descriptors", 20}, {"timers", 0}, {"bytes", 200'000}})
    EXPECT_LE(after.at(what), before.at(what) + more) << what;
}

// A session expires 300 s after it was last extended. Offline: nothing but the rules of time is at work.
class SessionExpirationTest : public TrackerTest {
 protected:
  SessionExpirationTest() { device.setOnline(false); }

  void start(std::optional<double> interval = std::nullopt) {
    const auto options = device.options();
    options->setTestOnlySessionExpirationInterval(interval);
    device.start(options);
    device.drain();
    lastSession = Kova::sessionId().value();
  }
  bool isNewSession() {
    return std::exchange(lastSession, Kova::sessionId().value()) != Kova::sessionId().value();
  }

  // A just started session ends after so many seconds, and not before.
  void expectToLast(double seconds) {
    device.advance(seconds - 0.1);
    EXPECT_FALSE(isNewSession());
    device.advance(0.2);
    EXPECT_TRUE(isNewSession());
  }

  std::string lastSession;
};

TEST_F(SessionExpirationTest, LastsFor300SecondsOrTheTestIntervalAndAgainForTheNextUnlessTheRunLoopTracks) {
  start(20);
  expectToLast(20);
  for (const double none : {0.0, -5.0}) {
    start(none);
    expectToLast(300);
  }
  const auto timer = KovaTracker::sharedTracker()->sessionExpirationTimer();
  EXPECT_NEAR(timer->fireDate().timeIntervalSince(device.scheduler.now()), 299.9, 0.001);
  expectToLast(299.9);  // a new session has a running timer without any event
  device.scheduler.setMainRunLoopMode(RunLoopMode::Tracking);  // as while a finger scrolls
  device.advance(400);
  EXPECT_FALSE(isNewSession());
  device.scheduler.setMainRunLoopMode(RunLoopMode::Default);
  device.drain();
  EXPECT_TRUE(isNewSession());
}

TEST_F(SessionExpirationTest, IsExtendedByEventsAndIdentifyAndByNothingElse) {
  start();
  const std::function<void()> extensions[] = {
      [] { Kova::track("Event"); },
      [] { Kova::frameworkAutocaptureEvent("Event", "react"); },
      [] { Kova::frameworkTrack("Event", {}, "react"); },
      [] { Kova::identify("ada"); },
      [] { Kova::identify(3); },
  };
  for (const auto& extend : extensions) {
    device.advance(250);
    extend();
    EXPECT_FALSE(isNewSession());
  }
  device.advance(250);
  Kova::addEventProperties({{"a", 1}});
  Kova::addUserProperties({{"a", 1}});
  Kova::setTrackingEnabled(false);
  Kova::track("Event");
  Kova::identify("ada");
  Kova::setTrackingEnabled(true);
  device.application->enterBackground();
  Kova::track("Event");
  expectToLast(50);
}

}  // namespace
