#pragma once

#include <utility>

#include "platform/simulator/SimulatedUser.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventRecording.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/support/ScriptedSocket.h"
#include "tests/support/Story.h"

// What the app sent since this was asked last: event names with their data, "connect" for the way into the
// namespace.
inline std::vector<std::pair<std::string, platform::Dictionary>> eventsOf(ScriptedSocket& socket) {
  std::vector<std::pair<std::string, platform::Dictionary>> events;
  for (const std::string& frame : socket.takeSent()) {
    const std::string prefix = "42/ios,";
    if (frame == "40/ios,") {
      events.emplace_back("connect", platform::Dictionary());
      continue;
    }
    EXPECT_EQ(frame.substr(0, prefix.size()), prefix);
    const auto event = platform::NSJSONSerialization::JSONObjectWithData(frame.substr(prefix.size())).value();
    events.emplace_back(event.array()[0].text(), event.array()[1].dictionary());
  }
  return events;
}
// " message image_data": the parts that come with an event.
inline std::string partsOf(const platform::Dictionary& data) {
  std::string parts;
  for (const char* part : {"message", "image_data", "full_image_data", "view_ancestry"}) {
    if (data.find(part)) parts += std::string(" ") + part;
  }
  return parts;
}

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
    server->sockets.clear();
    visualizer = std::make_shared<KovaEventVisualizer>(SimulatedDevice::kEnvironment, options,
                                                       KovaAppProperties(*options), KOVA_serialStateQueue());
    visualizer->connect();
    device.drain();
  }
  // To where the device has announced itself.
  ScriptedSocket& open() {
    connect();
    socket().letsIn();
    device.drain();
    EXPECT_EQ(sent(), "connect, available");
    return socket();
  }
  ScriptedSocket& socket() const { return server->socket(); }
  std::size_t attempts() const { return server->sockets.size(); }

  // An event as the tracker records one, and its message.
  using Recording = std::shared_ptr<const KovaEventRecording>;
  Recording record() { return KovaEventRecording::ofScreen(visualizer, settings); }
  static void consume(const Recording& recording) {
    if (recording) {
      KOVA_serialStateQueue()->addOperationWithBlock([=] { recording->send({{"name", "m"}}); });
    }
  }
  void says(const std::string& message) { socket().says("42/ios," + message); }

  // Steps of a story, ", " between them. All that a step sets off is done before the next, unless a "~"
  // stands before it.
  void play(const std::string& story) {
    playStory(steps_, story, [this] { device.drain(); });
  }
  // What all connections sent after each other: names without "device_", codes, and parts.
  std::string sent() {
    std::string lines;
    for (const auto& socket : server->sockets) {
      for (const auto& [name, data] : eventsOf(*socket)) {
        lines += (lines.empty() ? "" : ", ") + name.substr(name.find('_') + 1);
        if (data.find("pairCode")) lines += " " + at(data, "pairCode").description();
        lines += partsOf(data);
      }
    }
    return lines;
  }
  // Where the app stands, for its user and for what is recorded: "paired", "asked 40 12", both, or nothing.
  std::string state() const {
    const std::string question =
        "Please confirm that the following pairing code matches the one in your browser: ";
    std::string state = visualizer->isPaired() ? "paired" : "";
    for (const std::string& text : user.readableTexts()) {
      if (text.starts_with(question))
        state += (state.empty() ? "asked " : ", asked ") + text.substr(question.size());
    }
    EXPECT_EQ(visualizer->isCapturing(), visualizer->isPaired());
    EXPECT_EQ(device.application->isIdleTimerDisabled(), visualizer->isPaired());
    EXPECT_EQ(device.application->keyWindow() == window, state.find("asked") == state.npos)
        << "covers the app";
    return state;
  }

  SimulatedDevice device;
  platform::SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::shared_ptr<ScriptedServer> server = std::make_shared<ScriptedServer>();
  std::shared_ptr<KovaOptions> options = device.options();
  CaptureSettings settings;
  std::shared_ptr<platform::UIView> button = std::make_shared<platform::UIButton>();
  std::shared_ptr<platform::UIWindow> window;
  std::shared_ptr<KovaEventVisualizer> visualizer;

 private:
  using Argument = const std::string&;
  const StorySteps steps_{
      // The server.
      {"asks", [this](Argument code) { says(R"(["web_requested_pair",{"pairCode":")" + code + R"("}])"); }},
      {"readmits", [this](Argument) { socket().says("40/ios,"); }},
      {"closes", [this](Argument) { socket().closes(1001, "bye"); }},
      {"fails", [this](Argument) { socket().fails(); }},
      {"dismisses", [this](Argument) { socket().says("1"); }},
      {"pings", [this](Argument) { socket().says("2"); }},
      // The user, and the app.
      {"accepts", [this](Argument) { user.taps("Accept"); }},
      {"rejects", [this](Argument) { user.taps("Reject"); }},
      {"connects", [this](Argument) { visualizer->connect(); }},
      {"leaves", [this](Argument) { visualizer->disconnect(); }},
      {"hides", [this](Argument) { device.application->enterBackground(); }},
      {"returns", [this](Argument) { device.application->enterForeground(); }},
      {"waits", [this](Argument seconds) { device.advance(std::stod(seconds)); }},
      // What is recorded: an event at once, or in two steps.
      {"event", [this](Argument) { consume(record()); }},
      {"touch",
       [this](Argument) { consume(KovaEventRecording::ofView(visualizer, button.get(), settings)); }},
      {"viewless", [this](Argument) { consume(KovaEventRecording::ofView(visualizer, nullptr, settings)); }},
      {"records", [this](Argument) { kept_.push_back(record()); }},
      {"sends", [this](Argument) { consume(kept_.front()), kept_.erase(kept_.begin()); }},
  };
  std::vector<Recording> kept_;
};
