// The socket session over real sockets, against a server on the loopback that misbehaves; and pairing on real
// threads.

#include <gmock/gmock.h>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/simulator/SimulatedUser.h"
#include "platform/uikit/InstallUIKit.h"
#include "src/events/KovaAppProperties.h"
#include "src/storage/KovaSharedURLSession.h"
#include "src/visualizer/KovaEventRecording.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/src/visualizer/RecordingDelegate.h"
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

class RealSocketTest : public testing::Test {
 protected:
  // What a session is told of such a server until there is so much of it.
  std::vector<std::string> toldOf(const WebSocketServer& server, std::size_t count) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    const auto session = std::make_shared<KovaWebSocketSession>(
        NSURL::create("http://127.0.0.1:" + std::to_string(server.port()) + "/").value(),
        KovaWebSocketSession::Headers{}, "/ios", KOVA_serialStateQueue());
    session->setDelegate(delegate);
    onQueue([&] { session->connectWithURLSession(*KovaSharedURLSession::sharedSession()); });
    std::vector<std::string> told;
    device.runUntil([&] {
      for (std::string& line : delegate->take()) told.push_back(std::move(line));
      return told.size() >= count;
    });
    onQueue([&] { session->disconnect(); });
    return told;
  }
  void onQueue(const Work& work) {
    KOVA_serialStateQueue()->addOperationWithBlock(work);
    device.drain();
  }

  SimulatedDevice device;
};

// What all a server can do is the socket's and the session's own tests' matter.
TEST_F(RealSocketTest, ConversesWithARealServer) {
  const WebSocketServer forbidding([](Peer& peer) { peer.refuse(403); });
  EXPECT_THAT(toldOf(forbidding, 1), ElementsAre("refused with 403"));
  const WebSocketServer server([](Peer& peer) {
    letIn(peer);
    for (const char* frame : {"40/other,", "42/other,[1]", "42/ios,[3]"}) peer.sendText(frame);
    peer.close(1000, "bye");
  });
  EXPECT_THAT(toldOf(server, 3), ElementsAre("connected", "message [3]", "closed with 1000 bye"));
  EXPECT_EQ(server.requests().at(0).target, "/socko/?EIO=4&transport=websocket");
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
