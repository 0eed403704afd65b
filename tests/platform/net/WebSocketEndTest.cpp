// How a WebSocket does not come about, and how it ends.

#include <atomic>
#include <cstdlib>

#include "platform/net/NetworkReachability.h"
#include "tests/platform/net/DeadPort.h"
#include "tests/platform/net/WebSocketFixture.h"
#include "tests/support/ResourceLimit.h"

namespace {

using namespace platform;
using WebSocketEndTest = WebSocketFixture;

TEST_F(WebSocketEndTest, TellsHowAnUpgradeFailed) {
  const std::string endlessBody = "HTTP/1.1 403 No\r\nX-Why: closed\r\nContent-Length: 100\r\n\r\nbecause";
  struct Case {
    const char* name;
    WebSocketServer::Script script;
    int code;
    int status;
  };
  const Case cases[] = {
      {"403", [](Peer& peer) { peer.refuse(403); }, -1011, 403},
      {"302",
       [](Peer& peer) {
         peer.refuse(302, {{"Location", "/elsewhere"}});
       },
       -1011, 302},
      {"200", [](Peer& peer) { peer.refuse(200); }, -1011, 200},
      {"body held back",
       [&](Peer& peer) {
         peer.readRequest();
         peer.write(endlessBody);
         peer.waitForEnd();
       },
       -1011, 403},
      {"wrong key", [](Peer& peer) { peer.acceptWith("bm90IHRoZSBrZXkgb2YgaXQ="); }, -1011, 101},
      {"not HTTP",
       [](Peer& peer) {
         peer.readRequest();
         peer.write("220 mail.example.com ESMTP\r\n\r\n");
       },
       -1011, 0},
      {"nothing", [](Peer& peer) { peer.readRequest(); }, -1005, 0},
      {"half a head",
       [](Peer& peer) {
         peer.readRequest();
         peer.write("HTTP/1.1 101 Swi");
       },
       -1005, 0},
      {"reset",
       [](Peer& peer) {
         peer.readRequest();
         peer.reset();
       },
       -1005, 0},
  };
  for (const Case& refusal : cases) {
    SCOPED_TRACE(refusal.name);
    WebSocketServer server(refusal.script);
    Socket socket(session, request(server.url()));
    std::future<int> sent = socket.sends(Message::withString("never"));
    socket.task->resume();
    const Received received = socket.receive();
    EXPECT_EQ(received.code(), refusal.code);
    EXPECT_EQ(socket.status(), refusal.status);
    EXPECT_EQ(resultOf(std::move(sent)), refusal.code);
    EXPECT_EQ(received.error->domain(), "NSURLErrorDomain");
    EXPECT_EQ(socket.task->state(), State::completed);
    EXPECT_TRUE(server.waitForOpenConnections(0));
    EXPECT_EQ(server.connectionCount(), 1u);
  }
}

TEST_F(WebSocketEndTest, CannotConnect) {
  NetworkReachability::installFlagSource(
      [](const NetworkReachability::Target&) { return kNetworkReachabilityFlagsReachable; });
  const DeadPort port(DeadPort::Kind::refuses);
  EXPECT_EQ(open(port.url("ws")).receive().code(), -1004);
  EXPECT_EQ(open("ws://" + std::string(64, 'a') + "/").receive().code(), -1003);
  EXPECT_EQ(open("http://127.0.0.1/").receive().code(), -1002);
  EXPECT_EQ(open("ws:///path").receive().code(), -1000);
  EXPECT_EQ(open("ws://127.0.0.1%0d%0aX-Smuggled/").receive().code(), -1000);
}

TEST_F(WebSocketEndTest, TellsHowAnOpenSocketEnded) {
  const std::string hello = WebSocketServer::frame(Opcode::text, "hello");
  struct Case {
    const char* name;
    std::function<void(Peer&)> ending;
    int code;
    int closeCode;
    std::optional<std::string> closeReason;
    // Of the client's own close frame; 0 when it need not send one.
    int answer;
  };
  const Case cases[] = {
      {"closed", [](Peer& peer) { peer.close(4001, "go away"); }, -1005, 4001, "go away", 4001},
      {"closed without a reason", [](Peer& peer) { peer.close(1000); }, -1005, 1000, "", 1000},
      {"closed without a code", [](Peer& peer) { peer.send(Opcode::close, ""); }, -1005, 1005, "", 1000},
      {"TCP ended", [](Peer&) {}, -1005, 0, std::nullopt, 0},
      {"reset", [](Peer& peer) { peer.reset(); }, -1005, 0, std::nullopt, 0},
      {"in mid-frame", [&](Peer& peer) { peer.write(hello.substr(0, 4)); }, -1005, 0, std::nullopt, 0},
      {"no UTF-8", [](Peer& peer) { peer.sendText("a\xc3("); }, -1016, 0, std::nullopt, 1007},
      {"half a character", [](Peer& peer) { peer.sendText("a\xc3"); }, -1016, 0, std::nullopt, 1007},
      {"unknown opcode", [](Peer& peer) { peer.write("\x83\x01x"); }, -1011, 0, std::nullopt, 1002},
      {"masked", [](Peer& peer) { peer.write("\x81\x81mmmmx"); }, -1011, 0, std::nullopt, 1002},
      {"compressed", [](Peer& peer) { peer.write("\xc1\x01x"); }, -1011, 0, std::nullopt, 1002},
      {"endless", [](Peer& peer) { peer.write("\x82\x7f\x7f\xff\xff\xff\xff\xff\xff\xff"); }, -1103, 0,
       std::nullopt, 1009},
      {"too long in parts",
       [](Peer& peer) {
         peer.send(Opcode::binary, std::string(48u << 20, 'x'), Part::more);
         peer.send(Opcode::continuation, std::string((16u << 20) + 1, 'x'));
       },
       -1103, 0, std::nullopt, 0},
  };
  for (const Case& end : cases) {
    SCOPED_TRACE(end.name);
    std::promise<int> answered;
    WebSocketServer server([&](Peer& peer) {
      peer.accept();
      peer.write(hello);
      end.ending(peer);
      const auto answer = end.answer != 0 ? peer.receive() : std::nullopt;
      answered.set_value(answer ? answer->closeCode() : 0);
    });
    Socket socket = open(server.url());
    std::future<Received> first = socket.asksForMessage();
    std::future<Received> second = socket.asksForMessage();
    std::future<Received> third = socket.asksForMessage();
    EXPECT_EQ(resultOf(std::move(first)).bytes(), "hello");
    EXPECT_EQ(resultOf(std::move(second)).code(), end.code);
    EXPECT_EQ(resultOf(std::move(third)).code(), end.code);
    EXPECT_EQ(socket.task->closeCode(), end.closeCode);
    EXPECT_EQ(socket.task->closeReason(), end.closeReason);
    EXPECT_EQ(resultOf(answered.get_future()), end.answer);
    // What is asked of it afterwards is answered in the same way, and a cancellation comes too late.
    socket.task->cancel();
    EXPECT_EQ(socket.receive().code(), end.code);
    EXPECT_EQ(socket.sendText("x"), end.code);
    EXPECT_EQ(socket.task->state(), State::completed);
  }
}

TEST_F(WebSocketEndTest, TimeoutsBoundTheWayToAnOpenSocket) {
  const DeadPort unanswered(DeadPort::Kind::neverAnswers);
  WebSocketServer silent([](Peer& peer) { peer.waitForEnd(); });
  const std::string silentTLS = "wss://127.0.0.1:" + std::to_string(silent.port());
  for (const std::string& url : {unanswered.url("ws"), silent.url(), silentTLS}) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(open(request(url, 0.2)).receive().code(), -1001) << url;
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(200));
  }
  EXPECT_TRUE(silent.waitForOpenConnections(0));
  // An open socket may be silent for longer.
  WebSocketServer server(WebSocketServer::echo);
  Socket socket = open(request(server.url(), 0.2));
  EXPECT_EQ(socket.sendText("x"), 0);
  EXPECT_EQ(socket.receive().bytes(), "x");
  EXPECT_EQ(socket.asksForMessage().wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
}

TEST_F(WebSocketEndTest, CanBeCancelledAtAnyMoment) {
  const DeadPort unanswered(DeadPort::Kind::neverAnswers);
  WebSocketServer silent([](Peer& peer) { peer.waitForEnd(); });
  const std::string silentTLS = "wss://127.0.0.1:" + std::to_string(silent.port());
  std::promise<void> toldAll;
  WebSocketServer deaf([&](Peer& peer) {
    peer.accept();
    peer.sendText("hello");
    toldAll.get_future().wait();
    peer.waitForEnd();
  });
  const auto cancels = [](Socket& socket, std::future<Received> received) {
    socket.task->cancel();
    EXPECT_EQ(resultOf(std::move(received)).code(), -999);
    EXPECT_EQ(socket.receive().code(), -999);
    EXPECT_EQ(socket.sendText("x"), -999);
    EXPECT_EQ(socket.task->state(), State::completed);
    EXPECT_EQ(socket.task->closeReason(), std::nullopt);
  };

  Socket suspended(session, request(silent.url()));
  cancels(suspended, suspended.asksForMessage());
  suspended.task->resume();
  for (const std::string& url : {unanswered.url("ws", "localhost"), unanswered.url("ws")}) {
    Socket socket = open(url);
    cancels(socket, socket.asksForMessage());
  }
  EXPECT_EQ(silent.connectionCount(), 0u);
  for (const std::string& url : {silent.url(), silentTLS}) {
    Socket socket = open(url);
    EXPECT_TRUE(silent.waitForOpenConnections(1));
    cancels(socket, socket.asksForMessage());
    EXPECT_TRUE(silent.waitForOpenConnections(0));
  }
  Socket sending = open(deaf.url());
  EXPECT_EQ(sending.receive().bytes(), "hello");
  std::future<int> sent = sending.sends(Message::withData(std::string(64u << 20, 'x')));
  cancels(sending, sending.asksForMessage());
  EXPECT_EQ(resultOf(std::move(sent)), -999);
  toldAll.set_value();
  EXPECT_TRUE(deaf.waitForOpenConnections(0));
}

TEST_F(WebSocketEndTest, SaysGoodbyeWhenCancelledOrDropped) {
  std::atomic<int> goodbyes = 0;
  WebSocketServer server([&](Peer& peer) {
    peer.accept();
    peer.sendText("hello");
    while (const auto frame = peer.receive()) {
      if (frame->opcode != Opcode::close) continue;
      ++goodbyes;
      return;
    }
  });
  Socket cancelled = open(server.url());
  EXPECT_EQ(cancelled.receive().bytes(), "hello");
  EXPECT_EQ(cancelled.sendText("device_left"), 0);
  cancelled.task->cancel();
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_EQ(goodbyes, 1);
  EXPECT_EQ(server.messages().back(), "device_left");

  // What is outstanding is done before.
  std::future<Received> outstanding;
  std::future<int> sent;
  {
    Socket dropped = open(server.url());
    outstanding = dropped.asksForMessage();
    sent = dropped.sends(Message::withString("last words"));
  }
  EXPECT_EQ(resultOf(std::move(outstanding)).bytes(), "hello");
  EXPECT_EQ(resultOf(std::move(sent)), 0);
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_EQ(goodbyes, 2);
  EXPECT_EQ(server.messages().back(), "last words");
  {
    Socket neverResumed(session, request(server.url()));
    outstanding = neverResumed.asksForMessage();
  }
  EXPECT_EQ(resultOf(std::move(outstanding)).code(), -999);
}

std::chrono::steady_clock::time_point exitBegan;

// Large messages are on their way both ways, within TLS, when the host leaves.
TEST(WebSocketDeathTest, ExitsAtOnceWithSocketsOpen) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        // Registered first, so that it runs after everything that others do at exit.
        std::atexit([] {
          const auto passed = std::chrono::steady_clock::now() - exitBegan;
          std::_Exit(passed < std::chrono::milliseconds(500) ? 0 : 3);
        });
        const TestCertificate& certificate = *new TestCertificate;
        std::optional<TrustingConfiguration> configuration(certificate);
        NSURLSession session(*configuration);
        WebSocketServer& server = *new WebSocketServer(WebSocketServer::echo, &certificate);
        const NSURLRequest request(NSURL::create(server.url()).value());
        std::vector<Socket> sockets(4, Socket(session, request));
        for (Socket& socket : sockets) {
          socket = Socket(session, request);
          socket.task->resume();
          socket.sendText("x");
          socket.receive();
          socket.asksForMessage();
          socket.sends(Message::withData(std::string(64u << 20, 'e')));
        }
        configuration.reset();
        exitBegan = std::chrono::steady_clock::now();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

// The first of the process, which opens the descriptors of all.
TEST_F(WebSocketEndTest, ATaskThatCouldNotBeMadeIsFollowedByOneThatCan) {
  WebSocketServer server(WebSocketServer::echo);
  {
    const auto none = ResourceLimit::descriptors(0);
    EXPECT_FALSE(session.webSocketTask(request(server.url())));
  }
  Socket socket = open(server.url());
  EXPECT_EQ(socket.sendText("hello"), 0);
  EXPECT_EQ(socket.receive().bytes(), "hello");
}

}  // namespace
