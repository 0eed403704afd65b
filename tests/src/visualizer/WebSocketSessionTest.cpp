// The socket session against a scripted server, under virtual time.

#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KovaWebSocketConnectionDelegate.h"
#include "src/visualizer/KovaWebSocketSession.h"
#include "tests/src/core/TrackerFixture.h"
#include "tests/support/ScriptedSocket.h"

using namespace platform;
using namespace testing;
using AfterSending = KovaWebSocketSession::AfterSending;

namespace {

// Writes down what a session tells it.
class RecordingDelegate : public KovaWebSocketConnectionDelegate {
 public:
  std::vector<std::string> take() { return std::exchange(told_, {}); }

  void webSocketConnectionDidConnect(KovaWebSocketSession&) override { tell("connected"); }
  void didReceiveMessage(KovaWebSocketSession&, std::string_view message) override {
    tell("message " + std::string(message));
  }
  void handshakeFailedWithStatusCode(KovaWebSocketSession&, long code) override {
    tell("refused with " + std::to_string(code));
  }
  void handshakeFailedWithError(KovaWebSocketSession&, const NSError& error) override {
    tell("no handshake: " + text(error));
  }
  void didCloseWithCode(KovaWebSocketSession&, long code, const std::string& reason) override {
    tell("closed with " + std::to_string(code) + " " + reason);
  }
  void didStopListeningWithError(KovaWebSocketSession&, const NSError& error) override {
    tell("stopped: " + text(error));
  }
  void failedToSendWithError(KovaWebSocketSession&, const NSError& error) override {
    tell("not sent: " + text(error));
  }
  void webSocketConnectionMissedHeartbeat(KovaWebSocketSession&) override { tell("missed heartbeat"); }
  void webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession&) override { tell("sent away"); }

 private:
  static std::string text(const NSError& error) {
    return error.domain() + " " + std::to_string(error.code());
  }
  void tell(std::string what) {
    EXPECT_TRUE(KOVA_serialStateQueue()->isCurrent());
    told_.push_back(std::move(what));
  }
  std::vector<std::string> told_;
};

class WebSocketSessionTest : public TrackerTest {
 protected:
  // A session whose socket has been made.
  ScriptedSocket& connect(const std::string& baseUrl = "https://host/") {
    session = std::make_shared<KovaWebSocketSession>(
        NSURL::create(baseUrl).value(), KovaWebSocketSession::Headers{{"--x-a", "1"}, {"--x-b", "2"}}, "/ios",
        KOVA_serialStateQueue());
    session->setDelegate(delegate);
    onQueue([this] { session->connectWithURLSession(server); });
    return server.socket();
  }
  // One that has been let into its namespace.
  ScriptedSocket& open() {
    ScriptedSocket& socket = connect();
    socket.letsIn();
    device.drain();
    EXPECT_THAT(socket.takeSent(), ElementsAre("40/ios,"));
    EXPECT_THAT(delegate->take(), ElementsAre("connected"));
    return socket;
  }
  void onQueue(const Work& work) {
    KOVA_serialStateQueue()->addOperationWithBlock(work);
    device.drain();
  }
  void sendText(const std::string& text, AfterSending afterSending = AfterSending::Stay) {
    onQueue([&] { session->sendText(text, afterSending); });
  }
  std::vector<std::string> toldOf(ScriptedSocket& socket, const std::string& frame) {
    socket.says(frame);
    device.drain();
    return delegate->take();
  }

  ScriptedServer server;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<KovaWebSocketSession> session;
};

constexpr const char* kNotSent = "not sent: NSURLErrorDomain -1005";

TEST_F(WebSocketSessionTest, AsksForTheSocketBelowTheBaseUrl) {
  constexpr std::pair<const char*, const char*> kAddresses[] = {
      {"http://host:8080/", "ws://host:8080/socko/?EIO=4&transport=websocket"},
      {"HTTP://host/", "wss://host/socko/?EIO=4&transport=websocket"},
      {"https://host", "wss://host/socko/?EIO=4&transport=websocket"},
      {"https://host/a/b?c=d", "wss://host/a/socko/?EIO=4&transport=websocket"},
      {"ws://host/a/", "wss://host/a/socko/?EIO=4&transport=websocket"},
  };
  for (const auto& [base, expected] : kAddresses) {
    EXPECT_EQ(connect(base).request().url().absoluteString(), expected);
  }
  const NSURLRequest& request = server.socket().request();
  EXPECT_EQ(request.cachePolicy(), NSURLRequestCachePolicy::reloadIgnoringLocalCacheData);
  EXPECT_EQ(request.timeoutInterval(), 10);
  EXPECT_THAT(request.allHTTPHeaderFields(), ElementsAre(Pair("--x-a", "1"), Pair("--x-b", "2")));
}

TEST_F(WebSocketSessionTest, UnderstandsWellFormedHandshakesAlone) {
  const auto intervals = R"("pingInterval":25000,"pingTimeout":20000)";
  const auto sid = [&](const std::string& text) { return R"({"sid":)" + text + "," + intervals + "}"; };
  const auto times = [](const std::string& text) { return R"({"sid":"a",)" + text + "}"; };
  const std::string large(1 << 20, 'x');
  const std::pair<std::string, double> cases[] = {
      {sid("\"abc\""), 32},
      {times(R"("pingInterval":25000,"pingTimeout":60000,"more":[])"), 60},
      {times(R"("pingInterval":0.5,"pingTimeout":1)"), 7.0005},
      {sid("\"aZ09-_\""), 32},
      // Those that are none.
      {"", -1},
      {"[]", -1},
      {"{}", -1},
      {"{", -1},
      {"7", -1},
      {std::string("{") + intervals + "}", -1},
      {sid("\"\""), -1},
      {sid("7"), -1},
      {sid("\"a.b\""), -1},
      {sid("\"\xff\""), -1},
      {times(R"("pingInterval":0,"pingTimeout":20000)"), -1},
      {times(R"("pingInterval":-1,"pingTimeout":20000)"), -1},
      {times(R"("pingInterval":"25000","pingTimeout":20000)"), -1},
      {times(R"("pingInterval":25000)"), -1},
      {times(R"("pingInterval":25000,"pingTimeout":null)"), -1},
      {std::string(100'000, '['), -1},
      {sid("\"" + large + "\""), -1},
  };
  for (const auto& [text, timeout] : cases) {
    const auto handshake = KovaWebSocketSession::parseHandshakeResponse("0" + text);
    EXPECT_EQ(handshake ? handshake->heartbeatTimeout : -1, timeout) << text.substr(0, 80);
  }
}

TEST_F(WebSocketSessionTest, ConversesWithTheServer) {
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelVerbose);
  ScriptedSocket& socket = open();
  EXPECT_THAT(toldOf(socket, R"(42/ios,["a",{"b":1}])"), ElementsAre(R"(message ["a",{"b":1}])"));
  for (const char* ignored : {"", "4", "40", "40/ios", "40/other,", "40/ios2,", "42/other,[]", "42/ios",
                              "42[]", "3", "6", "x", "\n1"}) {
    EXPECT_THAT(toldOf(socket, ignored), IsEmpty()) << ignored;
  }
  socket.saysBytes(R"(42/ios,["a",{}])");
  device.drain();
  EXPECT_THAT(delegate->take(), IsEmpty()) << "binary messages are no events";
  EXPECT_THAT(socket.takeSent(), IsEmpty());

  EXPECT_THAT(toldOf(socket, "2"), IsEmpty());
  EXPECT_THAT(socket.takeSent(), ElementsAre("3"));
  EXPECT_THAT(device.log(), ElementsAre("[KOVA VERBOSE]: ﮩ٨ـﮩﮩ٨ـ♡ﮩ٨ـﮩﮩ٨ـ"));
  EXPECT_THAT(toldOf(socket, "1"), ElementsAre("sent away"));
  sendText(R"(["n",{}])");
  EXPECT_THAT(socket.takeSent(), ElementsAre(R"(42/ios,["n",{}])"));
  EXPECT_EQ(socket.receivesOutstanding(), 1u);
}

TEST_F(WebSocketSessionTest, AnInvalidHandshakeEndsTheSession) {
  ScriptedSocket& socket = connect();
  socket.says("0{}");
  onQueue([&] { session->setDelegate(delegate); });
  EXPECT_EQ(delegate->take().at(0), "no handshake: visualizer.kova.example 422");
  EXPECT_THAT(socket.takeSent(), IsEmpty());
  EXPECT_TRUE(socket.isCancelled());
}

TEST_F(WebSocketSessionTest, MissesTheHeartbeatAfterTheFirstPingOnly) {
  ScriptedSocket& socket = open();
  device.advance(1000);
  EXPECT_THAT(delegate->take(), IsEmpty());
  toldOf(socket, "2");
  device.advance(31);
  EXPECT_THAT(toldOf(socket, "2probe"), IsEmpty());  // whatever begins with 2 is a ping
  device.advance(31.9);
  EXPECT_THAT(delegate->take(), IsEmpty());
  device.advance(0.2);
  EXPECT_THAT(delegate->take(), ElementsAre("missed heartbeat"));
  toldOf(socket, "2");
  onQueue([&] { session->disconnect(); });
  EXPECT_THAT(delegate->take(), ElementsAre("stopped: NSURLErrorDomain -999"));
  device.advance(1000);
  EXPECT_THAT(delegate->take(), IsEmpty());
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(WebSocketSessionTest, TellsHowTheConnectionEnded) {
  using Server = void (*)(ScriptedSocket&);
  struct {
    Server before;  // null: the connection never was open
    Server end;
    const char* told;
  } const cases[] = {
      {nullptr, [](auto& socket) { socket.refuses(403); }, "refused with 403"},
      {nullptr, [](auto& socket) { socket.refuses(101); }, "refused with 101"},
      {nullptr, [](auto& socket) { socket.refuses(200); }, "no handshake: NSURLErrorDomain -1011"},
      {nullptr, [](auto& socket) { socket.fails(); }, "no handshake: NSURLErrorDomain -1005"},
      {[](auto& socket) { socket.letsIn(); }, [](auto& socket) { socket.closes(1001, "bye"); },
       "closed with 1001 bye"},
      {[](auto& socket) { socket.letsIn(); }, [](auto& socket) { socket.closes(1005, ""); },
       "closed with 1005 "},
      {[](auto& socket) { socket.letsIn(); }, [](auto& socket) { socket.fails(); },
       "stopped: NSURLErrorDomain -1005"},
  };
  for (const auto& [before, end, told] : cases) {
    ScriptedSocket& socket = connect();
    if (before) before(socket);
    device.drain();
    delegate->take();
    end(socket);
    device.drain();
    EXPECT_THAT(delegate->take(), ElementsAre(told));
    EXPECT_EQ(socket.receivesOutstanding(), 0u);
  }
}

TEST_F(WebSocketSessionTest, ReportsWhatCannotBeSent) {
  ScriptedSocket& socket = open();
  socket.setSending(ScriptedSocket::Sending::Fails);
  sendText("[1]");
  EXPECT_THAT(delegate->take(), ElementsAre(kNotSent));
  EXPECT_FALSE(socket.isCancelled());

  // A server that does not read costs a bounded amount, and gets what is left of it when it does again.
  socket.setSending(ScriptedSocket::Sending::Stalls);
  const std::string third(KovaWebSocketSession::kMaximumUnsentBytes / 3, 'x');
  for (int i = 0; i < 4; ++i) sendText(third);
  EXPECT_THAT(socket.takeSent(), SizeIs(2));
  EXPECT_THAT(delegate->take(), SizeIs(2));

  socket.setSending(ScriptedSocket::Sending::Fails);
  sendText("[2]", AfterSending::Disconnect);
  EXPECT_EQ(delegate->take().at(0), kNotSent);
  EXPECT_TRUE(socket.isCancelled()) << "also when it could not be sent";
}

TEST_F(WebSocketSessionTest, ASessionThatIsLetGoClosesItsSocket) {
  ScriptedSocket& idle = open();
  idle.says("2");
  device.drain();
  session = nullptr;
  EXPECT_TRUE(idle.isCancelled());
  device.advance(1000);
  EXPECT_THAT(delegate->take(), IsEmpty());

  // Its last message is on its way, for five seconds at most.
  for (const bool isRead : {true, false}) {
    ScriptedSocket& busy = open();
    busy.setSending(ScriptedSocket::Sending::Stalls);
    sendText("[]", AfterSending::Disconnect);
    session = nullptr;
    device.advance(4.9);
    EXPECT_FALSE(busy.isCancelled());
    EXPECT_THAT(busy.takeSent(), ElementsAre("42/ios,[]"));
    isRead ? busy.completesSends() : device.advance(0.2);
    device.drain();
    EXPECT_TRUE(busy.isCancelled());
  }
}

}  // namespace
