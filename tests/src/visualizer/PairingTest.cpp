// From the dashboard's question to the last event, against a scripted server under virtual time.

#include "src/core/KIBailer.h"
#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using PairingTest = PairingFixture;

constexpr const char* kQuestion =
    "Please confirm that the following pairing code matches the one in your browser: ";

TEST_F(PairingTest, PairsWhenTheUserAccepts) {
  ScriptedSocket& server1 = open();
  request("40 12");
  EXPECT_NE(device.application->keyWindow(), window);
  EXPECT_TRUE(user.sees("Confirm connection?"));
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "40 12"));
  device.advance(1000);
  EXPECT_THAT(names(server1), IsEmpty()) << "no longer announced";
  EXPECT_FALSE(visualizer->isPaired());
  EXPECT_EQ(record(), nullptr);

  user.taps("Accept");
  EXPECT_TRUE(visualizer->isPaired());
  EXPECT_TRUE(visualizer->isCapturing());
  const auto sent = events(server1);
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent[0].first, "device_accepted_pair");
  EXPECT_EQ(pairCodeOf(sent[0].second), "40 12");
  EXPECT_TRUE(device.application->isIdleTimerDisabled());
  EXPECT_EQ(device.application->keyWindow(), window);
  EXPECT_FALSE(user.sees("Confirm connection?"));

  visualizer->disconnect();
  device.drain();
  EXPECT_THAT(names(server1), ElementsAre("device_left"));
  EXPECT_TRUE(server1.isCancelled());
  EXPECT_FALSE(visualizer->isPaired() || visualizer->isCapturing());
  EXPECT_FALSE(device.application->isIdleTimerDisabled());
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
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(pairCodeOf(sent[0].second), "1000");
  EXPECT_EQ(device.application->keyWindow(), window);
}

TEST_F(PairingTest, RejectDisconnectsWithoutAWord) {
  ScriptedSocket& rejected = open();
  request("1");
  user.taps("Reject");
  EXPECT_TRUE(rejected.isCancelled());
  EXPECT_THAT(names(rejected), IsEmpty());
  EXPECT_FALSE(visualizer->isPaired());
  EXPECT_EQ(device.application->keyWindow(), window);
  device.advance(1000);
  EXPECT_EQ(attempts(), 1u);
}

TEST_F(PairingTest, SendsWhatIsRecordedAfterAccept) {
  open();
  consume(record());
  EXPECT_THAT(names(socket()), IsEmpty());
  pair("1");
  consume(record());
  consume(recordTouch(button.get()));
  consume(recordTouch(nullptr));
  std::vector<std::string> sent;
  for (const auto& [name, data] : events(socket())) {
    sent.push_back(name + " " + pairCodeOf(data) + " " + json(at(data, "message")));
    for (const char* part : {"image_data", "full_image_data", "view_ancestry"}) {
      if (data.find(part)) sent.back() += std::string(" ") + part;
    }
  }
  const std::string event = R"(device_captured_event 1 {"name":"m"})";
  EXPECT_THAT(sent,
              ElementsAre(event + " image_data", event + " image_data full_image_data view_ancestry", event));
}

// What was recorded for one pairing is not sent to the next, and nothing while it is not clear to whom.
TEST_F(PairingTest, AnEventBelongsToThePairingThatItWasRecordedFor) {
  ScriptedSocket& first = open();
  pair("1");
  const auto ofFirst = record();
  request("2");
  EXPECT_EQ(record(), nullptr);
  consume(ofFirst);
  EXPECT_THAT(names(first), IsEmpty());
  user.taps("Accept");
  const auto ofSecond = record();
  consume(ofFirst);
  consume(ofSecond);
  EXPECT_THAT(names(first), ElementsAre("device_accepted_pair", "device_captured_event"));

  visualizer->connect();
  device.drain();
  EXPECT_THAT(names(first), ElementsAre("device_left"));
  EXPECT_FALSE(visualizer->isPaired() || visualizer->isCapturing());
  letIn();
  consume(ofSecond);
  EXPECT_THAT(names(socket()), IsEmpty());
}

// Pictures take their time, in which anything may happen: what was recorded is sent all the same, in its
// place and to whom it was recorded for.
TEST_F(PairingTest, WhatWasRecordedIsNotOvertaken) {
  ScriptedSocket& first = open();
  pair("1");
  const auto send = [this] {
    KOVA_serialStateQueue()->addOperationWithBlock([recording = record()] { recording->send({}); });
  };
  send();
  first.says(R"(42/ios,["web_requested_pair",{"pairCode":"2"}])");
  device.drain();
  user.taps("Accept");
  send();
  visualizer->disconnect();
  visualizer->disconnect();
  device.drain();
  std::vector<std::string> sent;
  for (const auto& [name, data] : events(first)) sent.push_back(name + " " + pairCodeOf(data));
  EXPECT_THAT(sent, ElementsAre("device_captured_event 1", "device_accepted_pair 2",
                                "device_captured_event 2", "device_left 2"));
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

TEST_F(PairingTest, TestsMaySkipTheQuestionAndTheScreenshots) {
  options->setTestOnlySkipEVPairingDialog(true);
  options->setTestOnlyOmitEVScreenshots(true);
  open();
  request("7");
  EXPECT_FALSE(user.sees("Confirm connection?"));
  EXPECT_TRUE(visualizer->isPaired());
  consume(record());
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(sent[1].first, "device_captured_event");
  EXPECT_EQ(pairCodeOf(sent[1].second), "7");
  EXPECT_EQ(sent[1].second.find("image_data"), nullptr);
}

}  // namespace
