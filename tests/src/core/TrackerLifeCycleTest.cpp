// Start, stop, background and foreground.

#include <gmock/gmock.h>

#include <utility>

#include "src/core/tracker/KovaTracker.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class TrackerLifeCycleTest : public testing::Test {
 protected:
  std::size_t storedCount(std::string_view key) const {
    const auto stored = device.stored(key);
    return stored ? stored->array().size() : 0;
  }
  std::vector<Value> eventTypes() const {
    std::vector<Value> types;
    for (const Dictionary& message : device.receivedMessages())
      types.push_back(at(message, "event/customEvent/type"));
    return types;
  }

  SimulatedDevice device;
};

TEST_F(TrackerLifeCycleTest, TrackingDisabledFromTheStartEnqueuesNothing) {
  const auto options = device.options();
  options->setDebug(true);
  options->setDisableTracking(true);
  device.start(options);
  device.drain();
  EXPECT_FALSE(Kova::isTrackingEnabled());
  EXPECT_THAT(device.log(), Contains("[KOVA DEBUG]: Tracking disabled, ignoring: <Lifecycle Event>"));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u) << "the session's timer runs all the same";

  device.clearLog();
  Kova::track("Checkout");
  Kova::frameworkAutocaptureEvent("Tap", "react", {{"a", 1}});
  Kova::frameworkTrack("Swipe", {{"a", 1}}, "react", {{"a", 1}});
  Kova::addUserProperties({{"a", 1}});
  Kova::addEventProperties({{"a", 1}});
  Kova::identify(3);
  device.advance(60);
  device.settle();
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Tracking disabled, ignoring: <Checkout>",
                                        "[KOVA DEBUG]: Tracking disabled, ignoring: <Tap>",
                                        "[KOVA DEBUG]: Tracking disabled, ignoring: <Swipe>",
                                        "[KOVA DEBUG]: Tracking disabled, ignoring: <Add User Properties>",
                                        "[KOVA DEBUG]: Tracking disabled, ignoring: <Add Event Properties>",
                                        "[KOVA DEBUG]: Tracking disabled, ignoring: <Identity>"));
  EXPECT_EQ(device.service.requestCount(), 0u);

  Kova::setTrackingEnabled(true);
  Kova::track("Checkout");
  device.drain();
  device.runUntilRequests(2);
  EXPECT_THAT(eventTypes(), ElementsAre(Value("Checkout")));
}

TEST_F(TrackerLifeCycleTest, TheBackgroundStoresSendsAndSuspends) {
  device.startAndSettle();
  Kova::track("Checkout");
  device.application->enterBackground();
  device.runUntilRequests(3);
  EXPECT_THAT(eventTypes(), ElementsAre(Value(), Value("Checkout")));

  Kova::track("In the background");
  device.advance(60);
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 3u) << "uploads are suspended";
}

TEST_F(TrackerLifeCycleTest, AFailedUploadInTheBackgroundIsMadeUpForInTheForeground) {
  device.startAndSettle();
  const std::string firstPageview = at(device.receivedMessages()[0], "pageviewInfo/id").description();
  device.setOnline(false);
  Kova::track("Checkout");
  device.application->enterBackground();
  device.advance(60);
  EXPECT_EQ(storedCount("parts"), 0u);
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u);
  EXPECT_THAT(device.batchFiles(), SizeIs(1));
  device.setOnline(true);
  device.application->enterForeground();
  device.runUntilRequests(4);  // a pageview and a batch, at once

  EXPECT_THAT(eventTypes(), ElementsAre(Value(), Value("Checkout")));
  const auto pageviews = device.receivedTargets("/h");
  ASSERT_THAT(pageviews, SizeIs(2));
  EXPECT_NE(pageviews[0].find("&v=" + firstPageview), std::string::npos) << pageviews[0];
  EXPECT_EQ(pageviews[1].find("&v=" + firstPageview), std::string::npos)
      << "recorded again under an id of its own";
  EXPECT_NE(pageviews[1].find("&z=2&ts=1767225660000&v="), std::string::npos) << pageviews[1];
  Kova::track("Later");
  device.advance(15);
  device.runUntilRequests(5);
  EXPECT_THAT(eventTypes(), Contains(Value("Later"))) << "scheduled uploads have resumed";
}

TEST_F(TrackerLifeCycleTest, TheForegroundStoresWhatCameInTheBackgroundEvenIfItRecordsNothing) {
  device.setOnline(false);
  device.start();
  device.application->enterBackground();
  device.drain();
  const std::size_t before = storedCount("queuedMessageBatches");
  Kova::track("In the background");
  Kova::setTrackingEnabled(false);
  device.application->enterForeground();
  device.drain();
  EXPECT_EQ(storedCount("queuedMessageBatches"), before + 1);
}

TEST_F(TrackerLifeCycleTest, TheForegroundRecordsNothingWithoutAnEarlierPageviewOrTracking) {
  const auto options = device.options();
  options->setDisableTracking(true);
  options->setDebug(true);
  device.start(options);
  device.application->enterBackground();
  device.application->enterForeground();
  device.advance(15);
  Kova::setTrackingEnabled(true);
  Kova::track("Checkout");
  device.drain();
  device.runUntilRequests(2);
  Kova::setTrackingEnabled(false);
  device.application->enterBackground();
  device.application->enterForeground();
  device.advance(15);
  device.settle();
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(1));
  Kova::setTrackingEnabled(true);
  device.application->enterBackground();
  device.application->enterForeground();
  device.advance(15);
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), SizeIs(2)) << "one for each return before";
}

TEST_F(TrackerLifeCycleTest, InitializingAgainStopsAndStoresFirst) {
  device.startAndSettle();
  device.setOnline(false);
  const std::string userId = Kova::userId().value();
  const std::string sessionId = Kova::sessionId().value();
  const std::weak_ptr<KovaTracker> first = KovaTracker::sharedTracker();
  Kova::identify("ada");
  Kova::track("First");
  device.start();
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u);
  EXPECT_EQ(Kova::userId(), userId);
  EXPECT_EQ(Kova::identity(), "ada");
  EXPECT_NE(Kova::sessionId(), sessionId);

  Kova::track("Second");
  device.drain();
  EXPECT_TRUE(first.expired());
  device.setOnline(true);
  device.advance(15);
  device.runUntilRequests(6);  // identify, pageview, two batches
  EXPECT_THAT(eventTypes(), ElementsAre(Value(), Value("First"), Value("Second")));
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(2));
  EXPECT_THAT(device.receivedTargets("/api/identify_v3"), SizeIs(1));
  EXPECT_THAT(device.batchFiles(), IsEmpty());
}

TEST_F(TrackerLifeCycleTest, InitializingAgainWaitsForWhatWasQueuedBeforeAndNoLonger) {
  device.startAndSettle();
  bool isBusy = true;
  const std::function<void()> busyWork = [&] {
    if (isBusy) KOVA_serialStateQueue()->addOperationWithBlock(busyWork);
  };
  busyWork();
  Kova::addEventProperties({{"before", 1}});
  device.start();
  EXPECT_NE(device.stored("eventProperties"), std::nullopt);
  isBusy = false;
}

// Other threads go on calling the tracker that they found when they called.
TEST_F(TrackerLifeCycleTest, CallsThatReachTheTrackerBeforeAreNotLost) {
  device.startAndSettle();
  const auto before = KovaTracker::sharedTracker();
  device.start();
  Kova::addEventProperties({{"new", 1}});
  Kova::track("New");
  device.drain();
  before->addEventProperties(Value{{"late", 1}});
  before->recordCustomEvent("Late", std::nullopt);
  const std::string sessionId = *Kova::sessionId();
  device.drain();
  EXPECT_EQ(json(*device.stored("eventProperties")), R"({"new":"1","late":"1"})");
  device.settle();
  device.advance(15);
  device.settle();
  EXPECT_THAT(eventTypes(), ElementsAre(Value(), Value("New"), Value("Late")));
  EXPECT_EQ(at(device.receivedMessages().back(), "sessionInfo/id"), Value(sessionId));

  before->identify(Value("ada"));
  before->resetIdentity();
  device.drain();
  EXPECT_NE(Kova::sessionId(), sessionId) << "the session in force ends with its user";
  Kova::initialize("777", device.options());
  before->recordCustomEvent("For an environment that was left", std::nullopt);
  device.drain();
  EXPECT_EQ(storedCount("parts") + storedCount("queuedMessageBatches"), 1u);
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

TEST_F(TrackerLifeCycleTest, WorkOfAStoppedTrackerSetsNoTimer) {
  device.setOnline(false);
  device.start();
  Kova::identify("ada");
  Kova::track("Event");
  device.drain();
  const std::size_t timers = device.scheduler.pendingTimerCount();
  auto first = KovaTracker::sharedTracker();
  const std::weak_ptr<KovaTracker> stopped = first;
  device.start();
  std::exchange(first, nullptr)->recordCustomEvent("Late", std::nullopt);
  device.drain();
  Kova::track("Event");
  device.drain();
  EXPECT_TRUE(stopped.expired());
  EXPECT_EQ(device.scheduler.pendingTimerCount(), timers);
}

}  // namespace
