// How a WebSocket does not come about, and how it ends.

#include <atomic>
#include <cstdlib>

#include "tests/platform/net/WebSocketFixture.h"
#include "tests/support/DeadPort.h"
#include "tests/support/ResourceLimit.h"

namespace {

using namespace platform;
using WebSocketEndTest = WebSocketFixture;

// What a peer does with these bytes in place of an answer to the request.
WebSocketServer::Script answers(std::string bytes, void (Peer::*then)() = nullptr) {
  return [=](Peer& peer) {
    peer.readRequest();
    peer.write(bytes);
    if (then) (peer.*then)();
  };
}

TEST_F(WebSocketEndTest, TellsHowAnUpgradeFailed) {
  const struct {
    WebSocketServer::Script script;
    int code, status;
  } cases[] = {
      {[](Peer& peer) { peer.refuse(403); }, -1011, 403},
      {[](Peer& peer) {
         peer.refuse(302, {{"Location", "/elsewhere"}});
       },
       -1011, 302},
      {[](Peer& peer) { peer.refuse(200); }, -1011, 200},
      {answers("HTTP/1.1 403 No\r\nContent-Length: 100\r\n\r\nbecause", &Peer::waitForEnd), -1011, 403},
      {[](Peer& peer) { peer.acceptWith("bm90IHRoZSBrZXkgb2YgaXQ="); }, -1011, 101},
      {answers("220 mail.example.com ESMTP\r\n\r\n"), -1011, 0},
      {answers(""), -1005, 0},
      {answers("HTTP/1.1 101 Swi"), -1005, 0},
      {answers("", &Peer::reset), -1005, 0}};
  for (const auto& [script, code, status] : cases) {
    SCOPED_TRACE(&script - &cases[0].script);
    WebSocketServer server(script);
    Socket socket(session, get(server.url()));
    std::future<int> sent = socket.sends(Message::withString("never"));
    socket.task->resume();
    const Received received = socket.receive();
    EXPECT_EQ(received.code(), code);
    EXPECT_EQ(socket.status(), status);
    EXPECT_EQ(resultOf(std::move(sent)), code);
    EXPECT_EQ(received.error->domain(), "NSURLErrorDomain");
    EXPECT_EQ(socket.task->state(), State::completed);
    EXPECT_TRUE(server.waitForOpenConnections(0));
    EXPECT_EQ(server.connectionCount(), 1u);
  }
}

TEST_F(WebSocketEndTest, CannotConnect) {
  const DeadPort port(DeadPort::Kind::refuses);
  for (const auto& [url, code] : {std::pair(port.url("ws"), -1004),
                                  {"ws://" + std::string(64, 'a') + "/", -1003},
                                  {"http://127.0.0.1/", -1002},
                                  {"ws:///path", -1000},
                                  {"ws://127.0.0.1%0d%0aX-Smuggled/", -1000}}) {
    EXPECT_EQ(open(url).receive().code(), code) << url;
  }
}

TEST_F(WebSocketEndTest, TellsHowAnOpenSocketEnded) {
  const std::string hello = WebSocketServer::frame(Opcode::text, "hello");
  const auto writes = [](std::string bytes) { return [=](Peer& peer) { peer.write(bytes); }; };
  const auto tooLongInParts = [](Peer& peer) {
    peer.send(Opcode::binary, std::string(48u << 20, 'x'), Part::more);
    peer.send(Opcode::continuation, std::string((16u << 20) + 1, 'x'));
  };
  const struct {
    std::function<void(Peer&)> ending;
    int code;
    int answer;  // of the client's own close frame; 0 when it need not send one
    int closeCode = 0;
    std::optional<std::string> closeReason = std::nullopt;
  } cases[] = {{[](Peer& peer) { peer.close(4001, "go away"); }, -1005, 4001, 4001, "go away"},
               {[](Peer& peer) { peer.close(1000); }, -1005, 1000, 1000, ""},
               {[](Peer& peer) { peer.send(Opcode::close, ""); }, -1005, 1000, 1005, ""},
               {[](Peer&) {}, -1005, 0},
               {&Peer::reset, -1005, 0},
               {writes(hello.substr(0, 4)), -1005, 0},
               {[](Peer& peer) { peer.sendText("a\xc3("); }, -1016, 1007},
               {[](Peer& peer) { peer.sendText("a\xc3"); }, -1016, 1007},
               {writes("\x83\x01x"), -1011, 1002},      // an unknown opcode
               {writes("\x81\x81mmmmx"), -1011, 1002},  // masked
               {writes("\xc1\x01x"), -1011, 1002},      // compressed
               {writes("\x82\x7f\x7f\xff\xff\xff\xff\xff\xff\xff"), -1103, 1009},
               {tooLongInParts, -1103, 0}};
  for (const auto& [ending, code, answer, closeCode, closeReason] : cases) {
    SCOPED_TRACE(&ending - &cases[0].ending);
    std::promise<int> answered;
    WebSocketServer server([&, ending = ending, answer = answer](Peer& peer) {
      peer.accept();
      peer.write(hello);
      ending(peer);
      const auto frame = answer != 0 ? peer.receive() : std::nullopt;
      answered.set_value(frame ? frame->closeCode() : 0);
    });
    Socket socket = open(server.url());
    std::future<Received> first = socket.asksForMessage(), second = socket.asksForMessage(),
                          third = socket.asksForMessage();
    EXPECT_EQ(resultOf(std::move(first)).bytes(), "hello");
    EXPECT_EQ(resultOf(std::move(second)).code(), code);
    EXPECT_EQ(resultOf(std::move(third)).code(), code);
    EXPECT_EQ(socket.task->closeCode(), closeCode);
    EXPECT_EQ(socket.task->closeReason(), closeReason);
    EXPECT_EQ(resultOf(answered.get_future()), answer);
    // What is asked of it afterwards is answered in the same way, and a cancellation comes too late.
    socket.task->cancel();
    EXPECT_EQ(socket.receive().code(), code);
    EXPECT_EQ(socket.sendText("x"), code);
    EXPECT_EQ(socket.task->state(), State::completed);
  }
}

TEST_F(WebSocketEndTest, TimeoutsBoundTheWayToAnOpenSocket) {
  const DeadPort unanswered(DeadPort::Kind::neverAnswers);
  WebSocketServer silent([](Peer& peer) { peer.waitForEnd(); });
  const std::string silentTLS = "wss://127.0.0.1:" + std::to_string(silent.port());
  for (const std::string& url : {unanswered.url("ws"), silent.url(), silentTLS}) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(open(get(url, 0.2)).receive().code(), -1001) << url;
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(200));
  }
  EXPECT_TRUE(silent.waitForOpenConnections(0));
  // An open socket may be silent for longer.
  WebSocketServer server(WebSocketServer::echo);
  Socket socket = open(get(server.url(), 0.2));
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

  Socket suspended(session, get(silent.url()));
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
    Socket neverResumed(session, get(server.url()));
    outstanding = neverResumed.asksForMessage();
  }
  EXPECT_EQ(resultOf(std::move(outstanding)).code(), -999);
}

// The first of the process, which opens the descriptors of all.
TEST_F(WebSocketEndTest, ATaskThatCouldNotBeMadeIsFollowedByOneThatCan) {
  WebSocketServer server(WebSocketServer::echo);
  {
    const auto none = ResourceLimit::descriptors(0);
    EXPECT_FALSE(session.webSocketTask(get(server.url())));
  }
  Socket socket = open(server.url());
  EXPECT_EQ(socket.sendText("hello"), 0);
  EXPECT_EQ(socket.receive().bytes(), "hello");
}

}  // namespace
