// The socket session over real sockets, against a server on the loopback that misbehaves.

#include <gmock/gmock.h>

#include "src/storage/KovaSharedURLSession.h"
#include "src/visualizer/KovaWebSocketSession.h"
#include "tests/src/visualizer/RecordingDelegate.h"
#include "tests/support/SimulatedDevice.h"
#include "tests/support/WebSocketServer.h"

using namespace platform;
using testing::ElementsAreArray;
using Peer = WebSocketServer::Peer;
using Opcode = WebSocketServer::Opcode;

namespace {

constexpr const char* kHandshake = R"(0{"sid":"a","pingInterval":25000,"pingTimeout":20000})";
constexpr const char* kStopped = "stopped: NSURLErrorDomain ";

// Into the namespace, as a server should.
void letIn(Peer& peer) {
  peer.accept();
  peer.sendText(kHandshake);
  peer.receive();
  peer.sendText("40/ios,{}");
}

// Accepts the socket, and answers with this for a handshake.
WebSocketServer::Script handshake(std::string text) {
  return [text = std::move(text)](Peer& peer) {
    peer.accept();
    peer.sendText(text);
    peer.waitForEnd();
  };
}

class RealSocketTest : public testing::Test {
 protected:
  // What a session is told of such a server until there is so much of it.
  std::vector<std::string> toldOf(const WebSocketServer& server, std::size_t count) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    const auto session = connect(server, delegate);
    std::vector<std::string> told;
    device.runUntil([&] {
      for (std::string& line : delegate->take()) told.push_back(std::move(line));
      return told.size() >= count;
    });
    onQueue([&] { session->disconnect(); });
    return told;
  }
  std::shared_ptr<KovaWebSocketSession> connect(const WebSocketServer& server,
                                                const std::shared_ptr<RecordingDelegate>& delegate) {
    auto session = std::make_shared<KovaWebSocketSession>(
        NSURL::create("http://127.0.0.1:" + std::to_string(server.port()) + "/").value(),
        KovaWebSocketSession::Headers{{"--x-kova-env-id", "12345"}}, "/ios", KOVA_serialStateQueue());
    session->setDelegate(delegate);
    onQueue([&] { session->connectWithURLSession(*KovaSharedURLSession::sharedSession()); });
    return session;
  }
  void onQueue(const Work& work) {
    KOVA_serialStateQueue()->addOperationWithBlock(work);
    device.drain();
  }

  SimulatedDevice device;
};

// One of each kind: what all a server can do is the socket's and the session's own tests' matter.
TEST_F(RealSocketTest, AnswersWhateverTheServerDoes) {
  // The cancelled socket has the last word.
  const std::vector<std::string> badSession = {"no handshake: visualizer.kova.example 422",
                                               std::string(kStopped) + "-999"};
  struct {
    const char* name;
    WebSocketServer::Script script;
    std::vector<std::string> told;
  } const cases[] = {
      {"forbidden", [](Peer& peer) { peer.refuse(403); }, {"refused with 403"}},
      {"no JSON", handshake("0"), badSession},
      {"closes at once", [](Peer& peer) { peer.accept(), peer.close(1008, "no"); }, {"refused with 101"}},
      {"talks to others",
       [](Peer& peer) {
         letIn(peer);
         for (const char* frame : {"40/other,", "42/other,[1]", "42/ios2,[2]", "3", "42/ios,[3]"}) {
           peer.sendText(frame);
         }
         peer.close(1000, "bye");
       },
       {"connected", "message [3]", "closed with 1000 bye"}},
      {"stops in mid-frame",
       [](Peer& peer) {
         letIn(peer);
         const std::string frame = WebSocketServer::frame(Opcode::text, "42/ios,[1]");
         peer.write(std::string_view(frame).substr(0, 5));
       },
       {"connected", std::string(kStopped) + "-1005"}},
  };
  for (const auto& [name, script, told] : cases) {
    const WebSocketServer server(script);
    EXPECT_THAT(toldOf(server, told.size()), ElementsAreArray(told)) << name;
    ASSERT_GE(server.requests().size(), 1u) << name;
    EXPECT_EQ(server.requests()[0].target, "/socko/?EIO=4&transport=websocket");
  }
}

TEST_F(RealSocketTest, ASessionThatIsLetGoLeavesASilentServer) {
  const WebSocketServer server([](Peer& peer) { peer.readRequest(), peer.waitForEnd(); });
  const auto delegate = std::make_shared<RecordingDelegate>();
  auto session = connect(server, delegate);
  EXPECT_TRUE(server.waitForOpenConnections(1));
  session = nullptr;
  EXPECT_TRUE(server.waitForOpenConnections(0));
  device.drain();
  EXPECT_THAT(delegate->take(), testing::IsEmpty());
}

}  // namespace
