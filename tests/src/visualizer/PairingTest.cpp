// From the dashboard's question to the last event, against a scripted server under virtual time.

#include "src/core/KIBailer.h"
#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kQuestion =
    "Please confirm that the following pairing code matches the one in your browser: ";

class PairingTest : public PairingFixture {
 protected:
  // One step of a story, by its words.
  void plays(const std::string& step) {
    if (step.starts_with("asks ")) request(step.substr(5));
    if (step == "accepts") user.taps("Accept");
    if (step == "rejects") {
      user.taps("Reject");
      EXPECT_TRUE(socket().isCancelled());
    }
    if (step == "records") kept.push_back(record());
    if (step == "sends") consume(kept.at(0)), kept.erase(kept.begin());
    if (step == "event") consume(record());
    if (step == "touch") consume(recordTouch(button.get()));
    if (step == "touch of nothing") consume(recordTouch(nullptr));
    if (step == "is let in again") socket().says("40/ios,");
    if (step == "leaves") visualizer->disconnect();
    if (step == "connects") visualizer->connect();
    step == "waits" ? device.advance(10) : device.drain();
  }
  // What all connections sent after each other: names without "device_", codes, and parts.
  std::vector<std::string> sent() {
    std::vector<std::string> lines;
    for (const auto& socket : server->sockets) {
      for (const auto& [name, data] : events(*socket)) {
        lines.push_back(name.substr(name.find('_') + 1));
        if (data.find("pairCode")) lines.back() += " " + pairCodeOf(data);
        for (const char* part : {"message", "image_data", "full_image_data", "view_ancestry"}) {
          if (data.find(part)) lines.back() += std::string(" ") + part;
        }
      }
    }
    return lines;
  }

  std::vector<Recording> kept;
};

TEST_F(PairingTest, ShowsTheCodeAndKeepsTheScreenOnWhilePaired) {
  ScriptedSocket& server1 = open();
  request("40 12");
  EXPECT_NE(device.application->keyWindow(), window);
  EXPECT_TRUE(user.sees("Confirm connection?"));
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "40 12"));
  device.advance(1000);
  EXPECT_THAT(names(server1), IsEmpty()) << "no longer announced";

  user.taps("Accept");
  EXPECT_TRUE(visualizer->isPaired() && visualizer->isCapturing());
  EXPECT_TRUE(device.application->isIdleTimerDisabled());
  EXPECT_EQ(device.application->keyWindow(), window);
  EXPECT_FALSE(user.sees("Confirm connection?"));
  visualizer->disconnect();
  device.drain();
  EXPECT_TRUE(server1.isCancelled());
  EXPECT_FALSE(visualizer->isPaired() || visualizer->isCapturing());
  EXPECT_FALSE(device.application->isIdleTimerDisabled());
}

// An event leaves under the code that was accepted when it was recorded, or not at all.
TEST_F(PairingTest, WhatLeavesTheApp) {
  struct {
    std::vector<std::string> story;
    std::vector<std::string> sent;
  } const cases[] = {
      {{"records", "asks 1", "records", "accepts", "sends", "sends", "event", "touch", "touch of nothing",
        "leaves", "event"},
       {"accepted_pair 1", "captured_event 1 message image_data",
        "captured_event 1 message image_data full_image_data view_ancestry", "captured_event 1 message",
        "left 1"}},
      {{"asks 1", "is let in again", "waits", "rejects", "event"}, {"available 1"}},
      {{"asks 1", "accepts", "records", "asks 2", "records", "sends", "asks 1", "sends", "event"},
       {"accepted_pair 1", "captured_event 1 message image_data"}},
      {{"asks 1", "accepts", "records", "asks 2", "accepts", "sends", "event"},
       {"accepted_pair 1", "accepted_pair 2", "captured_event 2 message image_data"}},
      {{"asks 1", "accepts", "asks 2", "connects"}, {"accepted_pair 1", "left 2", "connect", "available"}},
      {{"asks 1", "accepts", "records", "connects", "event", "asks 1", "sends", "accepts", "event"},
       {"accepted_pair 1", "left 1", "connect", "available", "accepted_pair 1",
        "captured_event 1 message image_data"}},
  };
  server->onConnect = [](ScriptedSocket& socket) { socket.letsIn(); };
  for (const auto& [story, expected] : cases) {
    server->sockets.clear();
    kept.clear();
    connect();
    names(socket());
    for (const std::string& step : story) plays(step);
    EXPECT_EQ(sent(), expected) << testing::PrintToString(story);
    plays("leaves");
  }
}

TEST_F(PairingTest, AsksAboutTheNewestCodeOnce) {
  open();
  request("1");
  const auto shown = user.findsText("Accept");
  request("1");
  EXPECT_EQ(user.findsText("Accept"), shown);
  request("2");
  EXPECT_NE(user.findsText("Accept"), shown);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "2"));
  EXPECT_FALSE(user.sees(std::string(kQuestion) + "1"));

  // A flood: what was replaced once stays long enough to be answered, and of all that waits the last is next.
  for (int i = 3; i <= 1000; ++i) {
    socket().says(R"(42/ios,["web_requested_pair",{"pairCode":")" + std::to_string(i) + R"("}])");
  }
  device.advance(1.9);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "2"));
  device.advance(0.1);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "1000"));
  user.taps("Accept");
  EXPECT_THAT(sent(), ElementsAre("accepted_pair 1000"));
  EXPECT_EQ(device.application->keyWindow(), window);
}

// Pictures take their time, in which anything may happen: what was recorded is sent all the same, in its
// place and to whom it was recorded for.
TEST_F(PairingTest, WhatWasRecordedIsNotOvertaken) {
  ScriptedSocket& first = open();
  pair("1");
  const auto send = [this] {
    KOVA_serialStateQueue()->addOperationWithBlock([this] { record()->send({}); });
  };
  send();
  first.says(R"(42/ios,["web_requested_pair",{"pairCode":"2"}])");
  device.drain();
  user.taps("Accept");
  send();
  visualizer->disconnect();
  visualizer->disconnect();
  device.drain();
  EXPECT_THAT(sent(), ElementsAre("captured_event 1 message image_data", "accepted_pair 2",
                                  "captured_event 2 message image_data", "left 2"));
  EXPECT_TRUE(first.isCancelled());
}

// Whatever becomes of the question, its window does not stay over the app.
TEST_F(PairingTest, TheAppIsUncoveredWhateverHappens) {
  open();
  socket().says(R"(42/ios,["web_requested_pair",{"pairCode":"0"}])");
  visualizer->disconnect();
  device.drain();
  EXPECT_FALSE(user.sees("Confirm connection?")) << "the request was on its way to the main thread";

  open();
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      UIWindowDidBecomeVisibleNotification, [&](const NSNotification&) {
        visualizer->disconnect();
        KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
      });
  request("1");
  EXPECT_EQ(device.application->keyWindow(), window) << "the connection ended while the question was put up";
  NSNotificationCenter::defaultCenter().removeObserver(token);

  open();
  request("2");
  device.application->disconnectScene(*device.scene);
  device.scene = nullptr;
  window = device.show(std::make_shared<UIViewController>());
  device.drain();
  request("3");
  EXPECT_TRUE(user.sees("Confirm connection?")) << "in the scene that is there now";
  KIBailer::sharedBailer().registerException(NSException("a", "b"), "test", true);
  user.taps("Accept");
  device.drain();
  EXPECT_EQ(device.application->keyWindow(), window) << "the library has bailed";
  EXPECT_FALSE(user.sees("Confirm connection?"));
}

TEST_F(PairingTest, TheAppIsUncoveredWhenReplacingTheQuestionThrows) {
  open();
  request("1");
  UIViewController::dismissViewControllerMethod.replace(
      UIViewController::classObject(),
      [](UIViewController&, SEL, bool, const UIViewController::Completion&) { throw NSException("a", "b"); });
  request("2");
  EXPECT_EQ(device.application->keyWindow(), window);
}

TEST_F(PairingTest, TestsMaySkipTheQuestion) {
  options->setTestOnlySkipEVPairingDialog(true);
  open();
  plays("asks 7");
  EXPECT_FALSE(user.sees("Confirm connection?"));
  plays("event");
  EXPECT_THAT(sent(), ElementsAre("accepted_pair 7", "captured_event 7 message image_data"));
}

}  // namespace
