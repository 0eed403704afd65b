// The visualizer's connections: attempts, announcements, what is heard over them, and how they end.

#include "tests/src/visualizer/PairingFixture.h"

using namespace platform;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

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
  const auto sent = socket().takeSent();
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_THAT(sent[1], testing::MatchesRegex(
                           R"(42/ios,\["device_available",\{"appId":"12345","deviceId":"[0-9]{1,10}",)"
                           R"("deviceName":"Ada's phone","deviceType":"iPhone15,2"\}\])"));

  for (int second = 5; second <= 55; second += 5) {
    device.advance(4.9);
    EXPECT_THAT(names(socket()), IsEmpty());
    device.advance(0.1);
    EXPECT_THAT(names(socket()), ElementsAre("device_available")) << second;
  }
  device.advance(1000);
  EXPECT_THAT(names(socket()), IsEmpty());
  EXPECT_FALSE(socket().isCancelled());
}

TEST_F(ConnectionTest, TriesSixTimesToConnect) {
  server->onConnect = [this](ScriptedSocket& socket) {
    if (attempts() % 2) return socket.refuses(500);
    socket.fails();
  };
  connect();
  for (std::size_t attempt = 1; attempt <= 6; ++attempt) {
    EXPECT_EQ(attempts(), attempt);
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
  const auto attemptsWith = [this](int status) {
    server->sockets.clear();
    server->onConnect = [status](ScriptedSocket& socket) { socket.refuses(status); };
    connect();
    device.advance(1);
    const std::size_t soFar = attempts();
    device.advance(100);
    EXPECT_EQ(attempts(), soFar) << status;
    return soFar;
  };
  EXPECT_EQ(attemptsWith(401), 1u);
  EXPECT_EQ(attemptsWith(403), 1u);
  EXPECT_EQ(attemptsWith(402), 3u);

  server->sockets.clear();
  connect();
  device.advance(0.5);
  visualizer->disconnect();
  device.advance(100);
  EXPECT_EQ(attempts(), 2u);

  // A connection begins the count anew.
  server->sockets.clear();
  server->onConnect = [this](ScriptedSocket& socket) {
    attempts() == 2 ? socket.letsIn() : socket.refuses(402);
  };
  connect();
  device.advance(0.5);
  goToBackgroundAndBack();
  device.advance(100);
  EXPECT_EQ(attempts(), 5u);
}

TEST_F(ConnectionTest, LeavesInTheBackgroundAndComesBackAsAnotherDevice) {
  ScriptedSocket& first = open();
  pair();
  consume(record());
  const auto before = events(first);
  goToBackgroundAndBack();
  const auto left = events(first);
  ASSERT_THAT(left, SizeIs(1));
  EXPECT_EQ(left[0].first, "device_left");
  EXPECT_EQ(pairCodeOf(left[0].second), "1234");
  EXPECT_EQ(at(left[0].second, "deviceId"), at(before[0].second, "deviceId"));
  EXPECT_TRUE(first.isCancelled());

  EXPECT_EQ(attempts(), 2u);
  socket().letsIn();
  device.drain();
  const auto back = events(socket());
  ASSERT_THAT(back, SizeIs(2));
  EXPECT_NE(at(back[1].second, "deviceId"), at(left[0].second, "deviceId"));
  EXPECT_EQ(back[1].second.find("pairCode"), nullptr);
  EXPECT_FALSE(visualizer->isPaired());
}

// Each attempt listens once more, and none stops listening, also not when disconnected; up to a bound.
TEST_F(ConnectionTest, ComesBackAsOftenAsItHasConnected) {
  open();
  goToBackgroundAndBack();
  visualizer->disconnect();
  goToBackgroundAndBack();
  EXPECT_EQ(attempts(), 4u);
  EXPECT_TRUE(server->sockets[2]->isCancelled());
  EXPECT_FALSE(server->sockets[3]->isCancelled());
  for (int i = 0; i < 10; ++i) goToBackgroundAndBack();
  const std::size_t sofar = attempts();
  goToBackgroundAndBack();
  EXPECT_EQ(attempts(), sofar + 32);

  visualizer = nullptr;
  EXPECT_TRUE(socket().isCancelled());
  goToBackgroundAndBack();
  EXPECT_EQ(attempts(), sofar + 32);
}

TEST_F(ConnectionTest, TheLastWordIsNotCutOffAndDoesNotTakeForEver) {
  ScriptedSocket& left = open();
  pair();
  left.setSending(ScriptedSocket::Sending::Stalls);
  visualizer->disconnect();
  visualizer->disconnect();  // as a second listener does
  device.drain();
  EXPECT_THAT(names(left), ElementsAre("device_left"));
  EXPECT_FALSE(left.isCancelled());
  visualizer = nullptr;
  device.advance(4.9);
  EXPECT_FALSE(left.isCancelled());
  device.advance(0.2);
  EXPECT_TRUE(left.isCancelled());
}

// However a connection ends, it takes pairing and question with it, and is not made anew.
TEST_F(ConnectionTest, TakesPairingAndQuestionWithIt) {
  struct {
    std::function<void()> end;
    const char* line;
  } const cases[] = {
      {[this] { socket().closes(1001, "bye"); }, "Did Stop Listening With Code: 1001"},
      {[this] { socket().fails(); }, "Did Stop Listening With Error: Error Domain=NSURLErrorDomain"},
      {[this] { socket().says("1"); }, "Disconnected at Server's Request"},
      {[this] {
         socket().says("2");
         device.advance(33);
       },
       "Disconnected due to Heartbeat Timeout"},
      {[this] { visualizer->disconnect(); }, nullptr},
  };
  for (const auto& [end, line] : cases) {
    for (const bool isPaired : {false, true}) {
      SCOPED_TRACE(std::string(line ? line : "told to") + (isPaired ? ", paired" : ", asked"));
      server->sockets.clear();
      open();
      isPaired ? pair() : request("1");
      EXPECT_EQ(user.sees("Confirm connection?"), !isPaired);
      device.clearLog();
      end();
      device.drain();
      EXPECT_EQ(device.log().size(), line ? 1u : 0u);
      if (line) {
        EXPECT_THAT(device.log().at(0), HasSubstr(std::string(" WebSocketConnection - ") + line));
      }
      EXPECT_FALSE(visualizer->isPaired());
      EXPECT_FALSE(user.sees("Confirm connection?"));
      EXPECT_EQ(device.application->keyWindow(), window);
      EXPECT_TRUE(socket().isCancelled());
      device.advance(1000);
      EXPECT_EQ(attempts(), 1u);
      visualizer = nullptr;
    }
  }
}

TEST_F(ConnectionTest, SurvivesAMessageThatCannotBeSent) {
  open();
  socket().setSending(ScriptedSocket::Sending::Fails);
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
    hears(message);
    EXPECT_EQ(device.log(), line.empty() ? Lines() : Lines{"[KOVA DEBUG]: " + line}) << message.substr(0, 80);
  }
  EXPECT_FALSE(user.sees("Confirm connection?"));
  device.advance(5);
  EXPECT_THAT(names(socket()), ElementsAre("device_available")) << "goes on";
}

}  // namespace
