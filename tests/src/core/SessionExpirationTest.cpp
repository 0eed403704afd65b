// A session expires 300 s after it was last extended. Offline: nothing but the rules of time is at work.

#include "platform/dispatch/NSTimer.h"
#include "src/core/tracker/KovaTracker.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;

namespace {

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

TEST_F(SessionExpirationTest, LastsFor300SecondsOrTheTestIntervalAndAgainForTheNext) {
  start(20);
  expectToLast(20);
  for (const double none : {0.0, -5.0}) {
    start(none);
    expectToLast(300);
  }
  const auto timer = KovaTracker::sharedTracker()->sessionExpirationTimer();
  EXPECT_NEAR(timer->fireDate().timeIntervalSince(device.scheduler.now()), 299.9, 0.001);
  expectToLast(299.9);  // a new session has a running timer without any event
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

TEST_F(SessionExpirationTest, DoesNotExpireWhileTheRunLoopTracks) {
  start();
  device.scheduler.setMainRunLoopMode(RunLoopMode::Tracking);
  device.advance(400);
  EXPECT_FALSE(isNewSession());
  device.scheduler.setMainRunLoopMode(RunLoopMode::Default);
  device.drain();
  EXPECT_TRUE(isNewSession());
}

}  // namespace
