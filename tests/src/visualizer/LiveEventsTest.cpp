// What a person sees in the dashboard of an app that is paired: every event as the library records it, in
// order, with its pictures.

#include <Kova/KovaIgnore.h>

#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;
using namespace testing;

namespace {

class LiveEventsTest : public CaptureTest {
 protected:
  void start() {
    const auto options = device.optionsWithScreens();
    server = std::make_shared<ScriptedServer>(options->testOnlyUrlSession());
    server->onConnect = [](ScriptedSocket& socket) {
      socket.letsIn();
      socket.says(R"(42/ios,["web_requested_pair",{"pairCode":"1234"}])");
    };
    options->setTestOnlyUrlSession(server);
    device.start(options);
    appear();
    window->makeKeyWindow();
    device.upload();
  }
  void pair() {
    Kova::handleOpenURL(*NSURL::create("kova-12345://1/launch-ev"));
    device.drain();
    user.taps("Accept");
    device.advance(1);
    events();
  }
  // Data of the captured events that were sent since this was asked last.
  std::vector<Dictionary> events() {
    device.drain();
    std::vector<Dictionary> captured;
    for (const auto& [name, data] : eventsOf(server->socket())) {
      if (name == "device_captured_event") captured.push_back(data);
    }
    return captured;
  }

  SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::shared_ptr<ScriptedServer> server;
};

TEST_F(LiveEventsTest, EveryEventOfAPairedAppArrivesInOrderWithItsPictures) {
  start();
  pair();
  user.taps("Pay");
  device.advance(1);
  controller->presentViewController(std::make_shared<UIViewController>(), false);
  Kova::frameworkAutocaptureEvent("opened", "web", Dictionary());
  Kova::track("not shown");
  device.advance(1);
  std::vector<std::string> sent;
  const auto captured = events();
  for (const Dictionary& data : captured)
    sent.push_back(json(at(data, "message/event")).substr(0, 15) + partsOf(data));
  EXPECT_THAT(sent, ElementsAre(R"({"touchEvent":{ message image_data full_image_data view_ancestry)",
                                " message image_data", R"({"sourceEvent": message image_data)"));

  // The message is the one that goes to the capture service.
  device.upload();
  std::vector<std::string> uploaded;
  for (const Dictionary& message : device.receivedMessages()) uploaded.push_back(json(message));
  EXPECT_THAT(uploaded, Contains(json(at(captured.at(0), "message"))));

  // The next pairing is a new one.
  controller->dismissViewController(false);
  user.taps("Pay");
  Kova::stopEVPairing();
  device.advance(11);
  EXPECT_THAT(events(), IsEmpty());
  pair();
  EXPECT_THAT(server->sockets, SizeIs(2));
}

TEST_F(LiveEventsTest, WhatAFullQueueDropsIsNotShown) {
  start();
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
  EXPECT_THAT(events(), IsEmpty()) << "touch";
  Kova::frameworkAutocaptureEvent("opened", "web", Dictionary());
  EXPECT_THAT(events(), IsEmpty()) << "framework event";
  controller->presentViewController(std::make_shared<UIViewController>(), false);
  EXPECT_THAT(events(), IsEmpty()) << "pageview";
}

TEST_F(LiveEventsTest, WhatIsRedactedOrIgnoredIsSoOverTheSocketToo) {
  start();
  button->setAccessibilityLabel("Pay Ada 100");
  setKovaRedactText(*button, true);
  setKovaRedactAccessibilityLabel(*button, true);
  const auto secret = place(std::make_shared<UIButton>("Secret"));
  setKovaIgnore(*secret, true);
  pair();
  user.taps(*secret);
  user.taps(*button);
  device.advance(1);
  const auto sent = events();
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_THAT(json(at(sent[0], "message")) + json(at(sent[0], "view_ancestry")),
              AllOf(HasSubstr("****"), Not(HasSubstr("Ada")), Not(HasSubstr("Pay"))));
}

}  // namespace
