#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/simulator/SimulatedUser.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventRecording.h"
#include "tests/src/autocapture/CaptureFixture.h"
#include "tests/support/ScriptedSocket.h"

// An app with a button, and a visualizer whose server a test scripts, under virtual time.
class PairingFixture : public testing::Test {
 protected:
  PairingFixture() {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    options->setTestOnlyUrlSession(server);
    const auto root = std::make_shared<platform::UIViewController>();
    root->view()->addSubview(button);
    button->setFrame(platform::CGRectMake(0, 0, 200, 100));
    window = device.show(root);
  }

  void connect() {
    visualizer = std::make_shared<KovaEventVisualizer>(SimulatedDevice::kEnvironment, options,
                                                       KovaAppProperties(*options), KOVA_serialStateQueue());
    visualizer->connect();
    device.drain();
  }
  // To where the device has announced itself.
  ScriptedSocket& open() {
    connect();
    return letIn();
  }
  ScriptedSocket& letIn() {
    socket().letsIn();
    device.drain();
    EXPECT_THAT(names(socket()), testing::ElementsAre("connect", "device_available"));
    return socket();
  }
  void pair(const std::string& code = "1234") {
    request(code);
    user.taps("Accept");
    device.drain();
    ASSERT_TRUE(visualizer->isPaired());
    EXPECT_THAT(names(socket()), testing::ElementsAre("device_accepted_pair"));
  }

  ScriptedSocket& socket() const { return server->socket(); }
  void request(const std::string& code) { hears(R"(["web_requested_pair",{"pairCode":")" + code + R"("}])"); }
  void hears(const std::string& message) {
    socket().says("42/ios," + message);
    device.drain();
  }
  // An event as the tracker records one, and its message.
  using Recording = std::shared_ptr<const KovaEventRecording>;
  Recording record() { return KovaEventRecording::ofScreen(visualizer, settings); }
  Recording recordTouch(platform::UIView* view) {
    return KovaEventRecording::ofView(visualizer, view, settings);
  }
  void consume(const Recording& recording) {
    KOVA_serialStateQueue()->addOperationWithBlock([&] {
      if (recording) recording->send({{"name", "m"}});
    });
    device.drain();
  }
  void goToBackgroundAndBack() {
    device.application->enterBackground();
    device.drain();
    device.application->enterForeground();
    device.drain();
  }
  std::size_t attempts() const { return server->sockets.size(); }

  // What was sent since this was asked last: event names, "connect" for the way into the namespace.
  static std::vector<std::string> names(ScriptedSocket& socket) {
    std::vector<std::string> names;
    for (const auto& [name, payload] : events(socket)) names.push_back(name);
    return names;
  }
  static std::vector<std::pair<std::string, platform::Dictionary>> events(ScriptedSocket& socket) {
    std::vector<std::pair<std::string, platform::Dictionary>> events;
    for (const std::string& frame : socket.takeSent()) {
      const std::string prefix = "42/ios,";
      if (frame == "40/ios,") {
        events.emplace_back("connect", platform::Dictionary());
        continue;
      }
      EXPECT_EQ(frame.substr(0, prefix.size()), prefix);
      const platform::Value event =
          platform::NSJSONSerialization::JSONObjectWithData(frame.substr(prefix.size())).value();
      events.emplace_back(event.array()[0].text(), event.array()[1].dictionary());
    }
    return events;
  }
  static std::string pairCodeOf(const platform::Dictionary& payload) {
    return at(payload, "pairCode").description();
  }

  SimulatedDevice device;
  platform::SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::shared_ptr<ScriptedServer> server = std::make_shared<ScriptedServer>();
  std::shared_ptr<KovaOptions> options = device.options();
  CaptureSettings settings;
  std::shared_ptr<platform::UIView> button = std::make_shared<platform::UIButton>();
  std::shared_ptr<platform::UIWindow> window;
  std::shared_ptr<KovaEventVisualizer> visualizer;
};
