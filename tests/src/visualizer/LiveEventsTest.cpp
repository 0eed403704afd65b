// What a person sees in the dashboard of an app that is paired: every event as the library records it, in
// order, with its pictures; and nothing of the time before.

#include <Kova/KovaIgnore.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/graphics/Image.h"
#include "platform/simulator/SimulatedUser.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/support/ScriptedSocket.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class LiveEventsTest : public CaptureTest {
 protected:
  void startApp(const std::function<void(KovaOptions&)>& adjust = nullptr) {
    const auto options = device.optionsWithScreens();
    server = std::make_shared<ScriptedServer>(options->testOnlyUrlSession());
    options->setTestOnlyUrlSession(server);
    if (adjust) adjust(*options);
    device.start(options);
    appear();
    window->makeKeyWindow();
    device.settle();
    device.advance(15);
    device.settle();
  }
  void opensLink() {
    Kova::handleOpenURL(*NSURL::create("kova-12345://1/launch-ev"));
    device.drain();
    server->socket().letsIn();
    device.drain();
  }
  void isAsked() {
    server->socket().says(R"(42/ios,["web_requested_pair",{"pairCode":"1234"}])");
    device.drain();
  }
  void pair() {
    opensLink();
    isAsked();
    user.taps("Accept");
    device.advance(1);
    events();
  }
  // Data of the captured events that were sent since this was asked last.
  std::vector<Dictionary> events() {
    device.drain();
    std::vector<Dictionary> data;
    for (const std::string& frame : server->socket().takeSent()) {
      const std::string prefix = R"(42/ios,)";
      if (!frame.starts_with(prefix + R"(["device_captured_event")")) continue;
      data.push_back(
          NSJSONSerialization::JSONObjectWithData(frame.substr(prefix.size()))->array()[1].dictionary());
    }
    return data;
  }
  // What an event is and what comes with it: "touch image full ancestry".
  static std::string summary(const Dictionary& data) {
    const Dictionary& message = data.find("message")->dictionary();
    std::string text = "pageview";
    if (const Value* event = message.find("event")) {
      text = event->dictionary().begin()->second.dictionary().find("type")->text();
    }
    if (data.find("image_data")) text += " image";
    if (data.find("full_image_data")) text += " full";
    if (data.find("view_ancestry")) text += " ancestry";
    return text;
  }
  std::vector<std::string> summaries() {
    std::vector<std::string> texts;
    for (const Dictionary& data : events()) texts.push_back(summary(data));
    return texts;
  }

  SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::shared_ptr<ScriptedServer> server;
};

TEST_F(LiveEventsTest, EveryEventOfAPairedAppArrivesInOrderWithItsPictures) {
  startApp();
  pair();
  user.taps("Pay");
  device.advance(1);
  controller->presentViewController(std::make_shared<UIViewController>(), false);
  Kova::frameworkAutocaptureEvent("opened", "web", Dictionary());
  Kova::track("not shown");
  device.advance(1);

  const auto sent = events();
  ASSERT_THAT(sent, SizeIs(3));
  EXPECT_EQ(summary(sent[0]), "touch image full ancestry");
  EXPECT_EQ(summary(sent[1]), "pageview image");
  EXPECT_EQ(summary(sent[2]), "opened image");

  // The message is the one that goes to the capture service.
  device.advance(15);
  device.settle();
  std::vector<std::string> uploaded;
  for (const Dictionary& message : device.receivedMessages()) uploaded.push_back(json(message));
  EXPECT_THAT(uploaded, testing::Contains(json(sent[0].find("message")->dictionary())));
}

TEST_F(LiveEventsTest, NothingOfTheTimeBeforeAcceptIsSentAndNothingAfterTheEnd) {
  startApp();
  user.taps("Pay");
  opensLink();
  user.taps("Pay");
  isAsked();
  EXPECT_THAT(events(), IsEmpty());
  user.taps("Accept");  // while the tap before is still waiting for its action
  device.advance(11);
  EXPECT_THAT(summaries(), IsEmpty());

  user.taps("Pay");
  Kova::stopEVPairing();
  device.advance(11);
  EXPECT_THAT(summaries(), IsEmpty());
  EXPECT_TRUE(server->socket().isCancelled());

  // The next pairing is a new one.
  pair();
  EXPECT_THAT(server->sockets, SizeIs(2));
  user.taps("Pay");
  device.advance(1);
  EXPECT_THAT(summaries(), ElementsAre("touch image full ancestry"));
}

TEST_F(LiveEventsTest, WhatAFullQueueDropsIsNotShown) {
  startApp();
  device.setOnline(false);
  // Each way to the background closes a batch, and each way back records a pageview.
  for (int i = 0; i < 200; ++i) {
    Kova::track("Kept");
    device.application->enterBackground();
    device.application->enterForeground();
    device.drain();
  }
  pair();
  user.taps("Pay");
  device.advance(1);
  EXPECT_THAT(summaries(), IsEmpty()) << "touch";
  Kova::frameworkAutocaptureEvent("opened", "web", Dictionary());
  EXPECT_THAT(summaries(), IsEmpty()) << "framework event";
  controller->presentViewController(std::make_shared<UIViewController>(), false);
  EXPECT_THAT(summaries(), IsEmpty()) << "pageview";
}

TEST_F(LiveEventsTest, WhatIsRedactedOrIgnoredIsSoOverTheSocketToo) {
  startApp();
  button->setAccessibilityLabel("Pay Ada 100");
  setKovaRedactText(*button, true);
  setKovaRedactAccessibilityLabel(*button, true);
  const auto secret = place(std::make_shared<UIButton>("Secret"));
  secret->setFrame(CGRectMake(10, 100, 100, 40));
  setKovaIgnore(*secret, true);
  pair();
  user.taps(*secret);
  user.taps(*button);
  device.advance(1);
  const auto sent = events();
  ASSERT_THAT(sent, SizeIs(1));
  const std::string text =
      json(sent[0].find("message")->dictionary()) + json(sent[0].find("view_ancestry")->dictionary());
  EXPECT_NE(text.find("****"), std::string::npos);
  EXPECT_EQ(text.find("Ada"), std::string::npos);
  EXPECT_EQ(text.find("Pay"), std::string::npos) << text;
}

TEST_F(LiveEventsTest, WithoutScreenshotsMessagesAndAncestriesStillArrive) {
  startApp([](KovaOptions& options) { options.setTestOnlyOmitEVScreenshots(true); });
  pair();
  user.taps("Pay");
  device.advance(1);
  Kova::frameworkAutocaptureEvent("opened", "web", Dictionary());
  EXPECT_THAT(summaries(), ElementsAre("touch ancestry", "opened"));
}

}  // namespace
