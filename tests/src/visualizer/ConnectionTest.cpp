// The visualizer's connections: attempts, announcements, and what is heard over them.

#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;
using ConnectionTest = PairingFixture;
using Lines = std::vector<std::string>;

TEST_F(ConnectionTest, AnnouncesTheDeviceForAMinute) {
  options->setEventVisualizerWebSocketBaseUrl(NSURL::create("http://127.0.0.1:8080/"));
  connect();
  EXPECT_EQ(socket().request().url().absoluteString(),
            "ws://127.0.0.1:8080/socko/?EIO=4&transport=websocket");
  EXPECT_THAT(socket().request().allHTTPHeaderFields(),
              ElementsAre(Pair("--x-kova-env-id", "12345"), Pair("--x-kova-app-version", "1.0")));
  socket().letsIn();
  device.drain();
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Connection established with Event Visualizer."));
  EXPECT_THAT(
      socket().takeSent(),
      ElementsAre("40/ios,",
                  MatchesRegex(R"(42/ios,\["device_available",\{"appId":"12345","deviceId":"[0-9]{1,10}",)"
                               R"("deviceName":"Ada's phone","deviceType":"iPhone15,2"\}\])")));
  for (int second = 5; second <= 55; second += 5) {
    device.advance(4.9);
    EXPECT_EQ(sent(), "");
    device.advance(0.1);
    EXPECT_EQ(sent(), "available") << second;
  }
  device.advance(1000);
  EXPECT_EQ(sent(), "");
  EXPECT_FALSE(socket().isCancelled());
}

TEST_F(ConnectionTest, TriesSixTimesToConnect) {
  server->onConnect = [this](ScriptedSocket& socket) {
    attempts() % 2 ? socket.refuses(500) : socket.fails();
  };
  connect();
  for (std::size_t attempt = 1; attempt <= 6; ++attempt) {
    device.advance(5.9);
    EXPECT_EQ(attempts(), attempt);
    device.advance(0.1);
  }
  device.advance(1000);
  EXPECT_EQ(attempts(), 6u);
  EXPECT_THAT(device.log(), SizeIs(6));
  EXPECT_EQ(device.log()[0], "[KOVA DEBUG]: WebSocketConnection - Handshake Failed With Status Code: 500");
  EXPECT_THAT(device.log()[1],
              AllOf(HasSubstr("WebSocketConnection - Handshake Failed With Error: Error Domain="),
                    HasSubstr("Code=-1005")));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(ConnectionTest, TriesAgainWhereNoSocketCouldBeMade) {
  server->isOutOfSockets = true;
  connect();
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("Code=-1004")));
  server->isOutOfSockets = false;
  device.advance(6);
  EXPECT_EQ(attempts(), 1u);
}

TEST_F(ConnectionTest, StopsTryingWhenToldTo) {
  options->setTestOnlyEVReconnectAttemptInterval(0.5);
  options->setTestOnlyEVReconnectAttemptLimit(3);
  constexpr std::tuple<int, const char*, std::size_t> kCases[] = {
      {401, "waits 100", 1},
      {403, "waits 100", 1},
      {402, "waits 1", 3},
      {402, "waits 100", 3},
      {402, "waits 0.5, leaves, waits 100", 2},
      {101, "waits 0.5, hides, returns, waits 100", 5},  // a connection begins the count anew
  };
  for (const auto& [status, story, expected] : kCases) {
    server->onConnect = [this, status = status](ScriptedSocket& socket) {
      status == 101 && attempts() == 2 ? socket.letsIn() : socket.refuses(status == 101 ? 402 : status);
    };
    connect();
    play(story);
    EXPECT_EQ(attempts(), expected) << status << ": " << story;
  }
}

TEST_F(ConnectionTest, ComesBackAsAnotherDevice) {
  server->onConnect = [](ScriptedSocket& socket) { socket.letsIn(); };
  connect();
  play("asks 1, accepts, hides, returns");
  std::vector<Value> devices;
  for (const auto& [name, data] : eventsOf(*server->sockets.at(0))) {
    if (name != "connect") devices.push_back(at(data, "deviceId"));
  }
  EXPECT_THAT(devices, AllOf(SizeIs(3), Each(devices[0]))) << "to its farewell";
  EXPECT_NE(at(eventsOf(socket()).at(1).second, "deviceId"), devices[0]);
}

// Each attempt listens once more, and none stops listening, also not when disconnected; up to a bound.
TEST_F(ConnectionTest, ComesBackAsOftenAsItHasConnected) {
  open();
  play("hides, returns, leaves, hides, returns");
  EXPECT_EQ(attempts(), 4u);
  EXPECT_TRUE(server->sockets[2]->isCancelled());
  EXPECT_FALSE(server->sockets[3]->isCancelled());
  for (int i = 0; i < 10; ++i) play("hides, returns");
  const std::size_t sofar = attempts();
  play("hides, returns");
  EXPECT_EQ(attempts(), sofar + 32);
  visualizer = nullptr;
  EXPECT_TRUE(socket().isCancelled());
  play("hides, returns");
  EXPECT_EQ(attempts(), sofar + 32);
}

TEST_F(ConnectionTest, SurvivesAMessageThatCannotBeSent) {
  open().setSending(ScriptedSocket::Sending::Fails);
  device.advance(5);
  EXPECT_THAT(device.log().back(),
              HasSubstr("WebSocketConnection - Failed To Send Message With Error: Error"));
  EXPECT_FALSE(socket().isCancelled());
}

TEST_F(ConnectionTest, IgnoresMessagesThatMakeNoSense) {
  open();
  const std::string request = R"(["web_requested_pair",{"pairCode":)";
  const std::string unreadable = "Failed to deserialize JSON Object with data.";
  const std::string refused = "Ignoring a pair request: its code is not a text of 1 to 64 bytes.";
  const std::pair<std::string, std::string> cases[] = {
      {"[\"a\",\"\\u0000\"]\xff", "Failed to decode event message data."},
      {"", unreadable},
      {"{}", unreadable},
      {R"(["a"])", unreadable},
      {R"(["a",{},{}])", unreadable},
      {R"([1,{}])", unreadable},
      {R"(["a",[]])", unreadable},
      {request + "\"1\",\"x\":\"" + std::string(1 << 16, 'x') + "\"}]", unreadable},
      {request + "1234}]", refused},
      {request + "\"\"}]", refused},
      {request + '"' + std::string(65, '1') + "\"}]", refused},
      {R"(["web_requested_pair",{"code":"1"}])", ""},
      {R"(["other",{"pairCode":"1"}])", ""},
  };
  for (const auto& [message, line] : cases) {
    device.clearLog();
    says(message);
    device.drain();
    EXPECT_EQ(device.log(), line.empty() ? Lines() : Lines{"[KOVA DEBUG]: " + line}) << message.substr(0, 80);
  }
  EXPECT_EQ(state(), "");
  device.advance(5);
  EXPECT_EQ(sent(), "available") << "goes on";
  says(request + '"' + std::string(64, '1') + "\"}]");
  device.drain();
  EXPECT_EQ(state(), "asked " + std::string(64, '1'));
}

}  // namespace
