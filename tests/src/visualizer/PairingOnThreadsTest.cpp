// Pairing on real threads and real sockets.

#include <gmock/gmock.h>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/simulator/SimulatedUser.h"
#include "platform/uikit/InstallUIKit.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventRecording.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/support/WebSocketServer.h"

using namespace platform;
using namespace testing;
using Peer = WebSocketServer::Peer;

namespace {

constexpr const char* kHandshake = R"(0{"sid":"a","pingInterval":25000,"pingTimeout":20000})";

// Into the namespace, as a server should.
void letIn(Peer& peer) {
  peer.accept();
  peer.sendText(kHandshake);
  peer.receive();
  peer.sendText("40/ios,{}");
}

// An app on real threads, whose server asks about codes as fast as it can, and whose user accepts what he
// sees.
class PairingOnThreadsTest : public testing::Test {
 protected:
  static constexpr const char* kLastCode = "\"pairCode\":\"20\"";

  PairingOnThreadsTest() {
    installUIKit();
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
    window = UIWindow::create(UIScreen::mainScreen().bounds());
    window->setRootViewController(std::make_shared<UIViewController>());
    window->makeKeyAndVisible();
    options->setEventVisualizerWebSocketBaseUrl(
        NSURL::create("http://127.0.0.1:" + std::to_string(server.port()) + "/"));
  }
  static void asks(Peer& peer) {
    letIn(peer);
    for (int code = 10; code <= 20; ++code) {
      peer.sendText(R"(42/ios,["web_requested_pair",{"pairCode":")" + std::to_string(code) + "\"}]");
    }
    while (peer.receive()) continue;
  }
  // Accepts and records until the message has gone out under the last code, after so many messages.
  void acceptsUntil(const char* name, std::size_t before) {
    const auto isIt = [&](const std::string& message) {
      return message.find(name) != message.npos && message.find(kLastCode) != message.npos;
    };
    for (int turns = 0; turns < 2000; ++turns) {
      const auto messages = server.messages();
      if (std::any_of(messages.begin() + before, messages.end(), isIt)) return;
      if (user.sees("Accept")) user.taps("Accept");
      if (const auto recording = KovaEventRecording::ofScreen(visualizer, CaptureSettings())) {
        KOVA_serialStateQueue()->addOperationWithBlock([recording] { recording->send({}); });
      }
      user.waits(0.01);
    }
    FAIL() << name;
  }

  const WebSocketServer server{asks};
  SimulatedUser user{[](double seconds) { ThreadScheduler::installed().ownRunLoop().runFor(seconds); }};
  std::shared_ptr<KovaOptions> options = std::make_shared<KovaOptions>();
  std::shared_ptr<UIWindow> window;
  std::shared_ptr<KovaEventVisualizer> visualizer;
};

TEST_F(PairingOnThreadsTest, AnEventLeavesUnderTheAcceptedCodeAlone) {
  visualizer = std::make_shared<KovaEventVisualizer>("1", options, KovaAppProperties(*options),
                                                     KOVA_serialStateQueue());
  for (int connections = 0; connections < 2; ++connections) {
    const std::size_t before = server.messages().size();
    visualizer->connect();
    acceptsUntil("device_captured_event", before);
    visualizer->disconnect();
    acceptsUntil("device_left", before);
  }
  std::string accepted;
  for (const std::string& message : server.messages()) {
    const std::string code = message.substr(std::min(message.find("\"pairCode\""), message.size()), 14);
    if (message.find("device_accepted_pair") != message.npos) accepted = code;
    EXPECT_TRUE(code == accepted || message.find("device_captured_event") == message.npos) << message;
  }
}

}  // namespace
