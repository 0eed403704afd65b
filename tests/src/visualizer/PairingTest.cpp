// From the dashboard's question to the last event, against a scripted server under virtual time.

#include "src/core/KIBailer.h"
#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;

namespace {

class PairingTest : public PairingFixture {
 protected:
  PairingTest() {
    server->onConnect = [](ScriptedSocket& socket) { socket.letsIn(); };
  }
  // A fresh visualizer, that has announced the device.
  void begin() {
    connect();
    sent();
  }
};

// Whatever happens, an event leaves under the code that was accepted when it was recorded, or not at all.
TEST_F(PairingTest, IsATableOfTransitions) {
  struct {
    const char* story;
    const char* sent;
    const char* state;
  } const cases[] = {
      // Asked.
      {"asks 40 12, waits 1000, event", "", "asked 40 12"},
      {"asks 1, asks 1, waits 10", "", "asked 1"},
      {"asks 1, asks 2", "", "asked 2"},
      {"asks 1, readmits, waits 10", "available 1", "asked 1"},
      {"asks 1, rejects, event", "", ""},
      {"asks 1, connects", "connect, available", ""},
      {"asks 1, hides, returns", "connect, available", ""},
      {"~asks 1, leaves", "", ""},
      // Accepted.
      {"asks 1, accepts", "accepted_pair 1", "paired"},
      {"records, asks 1, records, accepts, sends, sends, event, touch, viewless, leaves, event",
       "accepted_pair 1, captured_event 1 message image_data, "
       "captured_event 1 message image_data full_image_data view_ancestry, captured_event 1 message, left 1",
       ""},
      {"asks 1, accepts, readmits", "accepted_pair 1, available 1", "paired"},
      {"asks 1, accepts, hides, returns", "accepted_pair 1, left 1, connect, available", ""},
      {"asks 1, accepts, records, connects, event, asks 1, sends, accepts, event",
       "accepted_pair 1, left 1, connect, available, accepted_pair 1, captured_event 1 message image_data",
       "paired"},
      // Accepted, and asked about another code.
      {"asks 1, accepts, records, asks 2, records, sends, sends, event", "accepted_pair 1",
       "paired, asked 2"},
      {"asks 1, accepts, records, asks 2, records, sends, asks 1, sends, event",
       "accepted_pair 1, captured_event 1 message image_data", "paired, asked 1"},
      {"asks 1, accepts, records, asks 2, accepts, sends, event",
       "accepted_pair 1, accepted_pair 2, captured_event 2 message image_data", "paired"},
      {"asks 1, accepts, asks 2, rejects", "accepted_pair 1, left 2", ""},
      {"asks 1, accepts, asks 2, connects", "accepted_pair 1, left 2, connect, available", ""},
      // Words of a connection that come when it has been left for another.
      {"asks 1, accepts, ~asks 2, connects, waits 9",
       "accepted_pair 1, left 1, connect, available, available", ""},
      {"asks 1, accepts, ~closes, connects, asks 3", "accepted_pair 1, connect, available", "asked 3"},
      // Pictures take their time: nothing overtakes what was recorded, and it goes where it was accepted.
      {"asks 1, accepts, ~event, asks 2, accepts, ~event, ~leaves, leaves",
       "accepted_pair 1, captured_event 1 message image_data, accepted_pair 2, "
       "captured_event 2 message image_data, left 2",
       ""},
  };
  for (const auto& [story, expected, expectedState] : cases) {
    SCOPED_TRACE(story);
    begin();
    play(story);
    EXPECT_EQ(sent(), expected);
    EXPECT_EQ(state(), expectedState);
    play("leaves");
    EXPECT_EQ(state(), "");
    EXPECT_TRUE(socket().isCancelled());
  }
}

// However a connection ends, it takes pairing and question with it, and is not made anew.
TEST_F(PairingTest, EndsWithItsConnection) {
  constexpr std::pair<const char*, const char*> kEnds[] = {
      {"closes", "Did Stop Listening With Code: 1001"},
      {"fails", "Did Stop Listening With Error: Error Domain=NSURLErrorDomain"},
      {"dismisses", "Disconnected at Server's Request"},
      {"pings, waits 33", "Disconnected due to Heartbeat Timeout"},
      {"leaves", ""},
  };
  for (const auto& [end, line] : kEnds) {
    for (const char* before : {"asks 1", "asks 1, accepts", "asks 1, accepts, asks 2"}) {
      SCOPED_TRACE(std::string(before) + ", " + end);
      begin();
      play(before);
      EXPECT_NE(state(), "");
      device.clearLog();
      play(end);
      EXPECT_EQ(state(), "");
      EXPECT_EQ(device.log().size(), *line ? 1u : 0u);
      EXPECT_EQ(device.logLinesWith(std::string(" WebSocketConnection - ") + line).size(),
                device.log().size());
      EXPECT_TRUE(socket().isCancelled());
      device.advance(1000);
      EXPECT_EQ(attempts(), 1u);
      visualizer = nullptr;
    }
  }
}

TEST_F(PairingTest, OfAFloodTheNewestIsAskedAboutWhenTheLastAlertHasStood) {
  begin();
  play("asks 1, asks 2");
  for (int i = 3; i <= 1000; ++i) play("~asks " + std::to_string(i));
  device.advance(1.9);
  EXPECT_EQ(state(), "asked 2");
  device.advance(0.1);
  EXPECT_EQ(state(), "asked 1000");
  play("asks 1000, accepts");
  EXPECT_EQ(sent(), "accepted_pair 1000");
}

// Alerts that take half a second to go, as with a system that animates them.
class SlowAlertTest : public PairingTest {
 protected:
  SlowAlertTest() {
    dismissAtOnce = UIViewController::dismissViewControllerMethod.replace(
        UIViewController::classObject(), [](UIViewController& self, SEL selector, bool animated,
                                            const UIViewController::Completion& completion) {
          KovaTimer::scheduleSafeOperationWithBlock(
              [kept = retained(&self), selector, animated, completion] {
                dismissAtOnce(*kept, selector, animated, completion);
              },
              0.5, NSOperationQueue::mainQueue());
        });
  }
  static inline decltype(UIViewController::dismissViewControllerMethod)::Imp dismissAtOnce;
};

TEST_F(SlowAlertTest, WhatHappensMeanwhileCounts) {
  constexpr std::tuple<const char*, const char*, const char*> kCases[] = {
      // The newest of what is asked meanwhile is next.
      {"asks 1, asks 2, asks 3, waits 1", "", "asked 3"},
      // An answer to the code before is none to the one that is asked about now.
      {"asks 1, asks 2, accepts, waits 2, event", "", ""},
      // Nor is one that was given to a connection that has ended, also where the next asks about the same
      // code.
      {"asks 1, accepts, leaves, connects, asks 1, waits 10, event", "connect, available", "asked 1"},
      {"asks 1, asks 2, closes, waits 1", "", ""},
      {"asks 1, accepts, waits 1, event", "accepted_pair 1, captured_event 1 message image_data", "paired"},
  };
  for (const auto& [story, expected, expectedState] : kCases) {
    SCOPED_TRACE(story);
    begin();
    play(story);
    EXPECT_EQ(sent(), expected);
    EXPECT_EQ(state(), expectedState);
    play("leaves, waits 10");
  }
}

// Whatever becomes of the question, its window does not stay over the app.
TEST_F(PairingTest, TheAppIsUncoveredWhateverHappens) {
  begin();
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      UIWindowDidBecomeVisibleNotification, [&](const NSNotification&) {
        visualizer->disconnect();
        KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
      });
  play("asks 1");
  EXPECT_EQ(state(), "") << "the connection ended while the question was put up";
  NSNotificationCenter::defaultCenter().removeObserver(token);

  begin();
  play("asks 2");
  device.application->disconnectScene(*device.scene);
  device.scene = nullptr;
  window = device.show(std::make_shared<UIViewController>());
  device.drain();
  play("asks 3");
  EXPECT_EQ(state(), "asked 3") << "in the scene that is there now";
  KIBailer::sharedBailer().registerException(NSException("a", "b"), "test", true);
  play("accepts");
  EXPECT_EQ(state(), "") << "the library has bailed";
}

TEST_F(PairingTest, TheAppIsUncoveredWhenReplacingTheQuestionThrows) {
  begin();
  play("asks 1");
  UIViewController::dismissViewControllerMethod.replace(
      UIViewController::classObject(),
      [](UIViewController&, SEL, bool, const UIViewController::Completion&) { throw NSException("a", "b"); });
  play("asks 2");
  EXPECT_EQ(device.application->keyWindow(), window);
}

TEST_F(PairingTest, TestsMaySkipTheQuestion) {
  options->setTestOnlySkipEVPairingDialog(true);
  begin();
  play("asks 7, event");
  EXPECT_EQ(sent(), "accepted_pair 7, captured_event 7 message image_data");
  EXPECT_EQ(state(), "paired");
}

}  // namespace
