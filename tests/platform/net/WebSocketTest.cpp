// What an open WebSocket carries.

#include <atomic>

#include "platform/sockets/internal/WebSocketUpgrade.h"
#include "tests/platform/net/WebSocketFixture.h"

namespace {

using namespace platform;
using WebSocketTest = WebSocketFixture;

TEST_F(WebSocketTest, UpgradesAndSpeaksBothWays) {
  std::atomic<bool> isMasked = false;
  WebSocketServer server([&](Peer& peer) {
    peer.accept();
    isMasked = peer.receive()->isMasked;
    peer.send(Opcode::ping, "are you there");
    // Nothing goes on before the ping has been answered.
    while (peer.receive().value().opcode != Opcode::pong) continue;
    peer.send(Opcode::text, "in ", Part::more);
    peer.send(Opcode::ping, "");
    peer.send(Opcode::continuation, "three ", Part::more);
    peer.send(Opcode::continuation, "parts", Part::last);
    peer.send(Opcode::binary, std::string("\0\xff", 2));
    peer.sendText("");
    peer.waitForEnd();
  });
  NSURLRequest upgrade = get(server.url("/so%20cko/?EIO=4&transport=websocket#fragment"));
  upgrade.setValue("app-1", "X-App");
  upgrade.setValue("a\r\nX-Smuggled: 1", "X-Broken");
  upgrade.setValue("mine", "sec-websocket-key");
  upgrade.setValue("permessage-deflate", "Sec-WebSocket-Extensions");
  Socket socket(session, upgrade);
  EXPECT_EQ(socket.task->state(), State::suspended);
  std::future<int> sent = socket.sends(Message::withString("h\xc3\xa9"));
  socket.task->resume();
  EXPECT_EQ(socket.task->state(), State::running);

  const Received joined = socket.receive();
  EXPECT_EQ(joined.bytes(), "in three parts");
  EXPECT_EQ(joined.message->type(), Message::Type::string);
  EXPECT_FALSE(joined.onMainThread);
  const Received data = socket.receive();
  EXPECT_EQ(data.bytes(), std::string("\0\xff", 2));
  EXPECT_EQ(data.message->type(), Message::Type::data);
  EXPECT_EQ(socket.receive().bytes(), "");
  EXPECT_EQ(resultOf(std::move(sent)), 0);
  EXPECT_EQ(server.messages(), std::vector<std::string>{"h\xc3\xa9"});
  EXPECT_TRUE(isMasked);
  EXPECT_EQ(socket.status(), 101);
  EXPECT_EQ(socket.task->closeCode(), NSURLSessionWebSocketTask::kCloseCodeInvalid);
  EXPECT_EQ(socket.task->closeReason(), std::nullopt);

  const HttpRequest seen = server.requests().at(0);
  EXPECT_EQ(seen.method + " " + seen.target, "GET /so%20cko/?EIO=4&transport=websocket");
  EXPECT_EQ(*seen.header("Host"), "127.0.0.1:" + std::to_string(server.port()));
  EXPECT_EQ(*seen.header("X-App"), "app-1");
  EXPECT_EQ(seen.header("X-Smuggled"), nullptr);
  EXPECT_EQ(seen.header("Sec-WebSocket-Extensions"), nullptr);
  EXPECT_EQ(seen.countOfHeader("Sec-WebSocket-Key"), 1u);
}

TEST_F(WebSocketTest, NamesHostAndTarget) {
  const auto named = [](const char* text) {
    const NSURL url = NSURL::create(text).value();
    return webSocketHostField(url) + " " + webSocketTarget(url);
  };
  EXPECT_EQ(named("ws://[::1]:8080?a=1"), "[::1]:8080 /?a=1");
  EXPECT_EQ(named("wss://user@example.com:443/a%2Fb#c"), "example.com /a%2Fb");
  EXPECT_EQ(named("ws://example.com:443"), "example.com:443 /");
}

TEST_F(WebSocketTest, KeepsTheOrderOfManyMessages) {
  WebSocketServer server(WebSocketServer::echo);
  Socket socket = open(server.url());
  constexpr int kCount = 2000;
  std::vector<std::future<Received>> receives;
  for (int i = 0; i < kCount; ++i) {
    receives.push_back(socket.asksForMessage());
    socket.task->sendMessage(Message::withString(std::to_string(i)), {});
  }
  for (int i = 0; auto& received : receives) {
    ASSERT_EQ(resultOf(std::move(received)).bytes(), std::to_string(i++));
  }
}

TEST_F(WebSocketTest, OutlivesMessagesThatAreNoneAndCompletionsThatThrow) {
  WebSocketServer server(WebSocketServer::echo);
  Socket socket = open(server.url());
  EXPECT_EQ(socket.sendText("a\xff"), -1016);
  EXPECT_EQ(
      socket.send(Message::withData(std::string(NSURLSessionWebSocketTask::kMaximumMessageSize + 1, 'x'))),
      -1103);
  EXPECT_EQ(socket.send(Message::withData("a\xff")), 0);
  EXPECT_EQ(socket.receive().bytes(), "a\xff");
  // What a completion throws ends there.
  socket.task->sendMessage(Message::withString("one"), [](auto) { throw 1; });
  socket.task->receiveMessage([](auto, auto) { throw std::runtime_error("a fault of the host"); });
  EXPECT_EQ(socket.sendText("two"), 0);
  EXPECT_EQ(socket.receive().bytes(), "two");
}

TEST_F(WebSocketTest, CarriesMessagesOf64MB) {
  const TestCertificate certificate;
  const TrustingConfiguration configuration(certificate);
  NSURLSession trusting(configuration);
  const std::string longest(NSURLSessionWebSocketTask::kMaximumMessageSize, 'x');
  for (const TestCertificate* used : {static_cast<const TestCertificate*>(nullptr), &certificate}) {
    WebSocketServer server(WebSocketServer::echo, used);
    Socket socket = open(trusting, get(server.url()));
    std::future<int> sent = socket.sends(Message::withString(longest));
    EXPECT_TRUE(socket.receive().bytes() == longest);
    EXPECT_EQ(resultOf(std::move(sent)), 0);
  }
}

TEST_F(WebSocketTest, TrustsTheCertificatesItIsGiven) {
  const TestCertificate certificate;
  const TrustingConfiguration configuration(certificate);
  NSURLSession trusting(configuration), trustless({.certificateAuthorityFile = "/nowhere.pem"});
  WebSocketServer server(WebSocketServer::echo, &certificate),
      plain([](Peer&peer) { peer.write("no TLS here"); });
  const std::string port = std::to_string(server.port());

  Socket named = open(trusting, get("wss://localhost:" + port + "/"));
  EXPECT_EQ(named.sendText("secret"), 0);
  EXPECT_EQ(named.receive().bytes(), "secret");
  EXPECT_EQ(*server.requests().at(0).header("Host"), "localhost:" + port);
  const std::tuple<NSURLSession*, std::string, int> refused[] = {
      {&trusting, "wss://127.1:" + port + "/", -1202},  // a name that the certificate does not have
      {&session, server.url(), -1202},
      {&session, "wss://127.0.0.1:" + std::to_string(plain.port()), -1200},
      {&trustless, server.url(), -1200}};
  for (const auto& [by, url, code] : refused) EXPECT_EQ(open(*by, get(url)).receive().code(), code) << url;
  EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(WebSocketTest, ReadsOnlyWhatIsAskedFor) {
  constexpr int kCount = 64;
  const std::string megabyte(1u << 20, 'x');
  std::promise<void> wroteAll;
  WebSocketServer server([&](Peer& peer) {
    peer.accept();
    for (int i = 0; i < kCount; ++i) peer.send(Opcode::binary, megabyte);
    wroteAll.set_value();
    peer.waitForEnd();
  });
  Socket socket = open(server.url());
  EXPECT_EQ(socket.receive().bytes().size(), megabyte.size());
  std::future<void> all = wroteAll.get_future();
  EXPECT_EQ(all.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  for (int i = 1; i < kCount; ++i) ASSERT_EQ(socket.receive().bytes().size(), megabyte.size());
  EXPECT_EQ(all.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

}  // namespace
