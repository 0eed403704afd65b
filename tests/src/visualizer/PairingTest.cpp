// Pairing from the first attempt to connect to the last event, against a scripted server under virtual time.

#include <gmock/gmock.h>

#include "platform/simulator/SimulatedUser.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventRecording.h"
#include "tests/src/autocapture/CaptureFixture.h"
#include "tests/support/ScriptedSocket.h"

using namespace platform;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

class PairingTest : public testing::Test {
 protected:
  PairingTest() {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    options->setTestOnlyUrlSession(server);
    const auto root = std::make_shared<UIViewController>();
    root->view()->addSubview(button);
    button->setFrame(CGRectMake(0, 0, 200, 100));
    window = device.show(root);
  }

  void connect() {
    visualizer = std::make_shared<KovaEventVisualizer>(SimulatedDevice::kEnvironment, options,
                                                       KovaAppProperties(*options), KOVA_serialStateQueue());
    visualizer->connect();
    device.drain();
  }
  // To where the device has announced itself.
  ScriptedSocket& open() {
    connect();
    return letIn();
  }
  ScriptedSocket& letIn() {
    socket().letsIn();
    device.drain();
    EXPECT_THAT(names(socket()), ElementsAre("connect", "device_available"));
    return socket();
  }
  void pair(const std::string& code = "1234") {
    request(code);
    user.taps("Accept");
    device.drain();
    ASSERT_TRUE(visualizer->isPaired());
    EXPECT_THAT(names(socket()), ElementsAre("device_accepted_pair"));
  }

  ScriptedSocket& socket() const { return server->socket(); }
  void request(const std::string& code) { hears(R"(["web_requested_pair",{"pairCode":")" + code + R"("}])"); }
  void hears(const std::string& message) {
    socket().says("42/ios," + message);
    device.drain();
  }
  // An event as the tracker records one, and its message.
  using Recording = std::shared_ptr<const KovaEventRecording>;
  Recording record() { return KovaEventRecording::ofScreen(visualizer, settings); }
  Recording recordTouch(UIView* view) { return KovaEventRecording::ofView(visualizer, view, settings); }
  void consume(const Recording& recording) {
    KOVA_serialStateQueue()->addOperationWithBlock([&] {
      if (recording) recording->send({{"name", "m"}});
    });
    device.drain();
  }
  void goToBackgroundAndBack() {
    device.application->enterBackground();
    device.drain();
    device.application->enterForeground();
    device.drain();
  }
  std::size_t attempts() const { return server->sockets.size(); }

  // What was sent since this was asked last: event names, "connect" for the way into the namespace.
  static std::vector<std::string> names(ScriptedSocket& socket) {
    std::vector<std::string> names;
    for (const auto& [name, payload] : events(socket)) names.push_back(name);
    return names;
  }
  static std::vector<std::pair<std::string, Dictionary>> events(ScriptedSocket& socket) {
    std::vector<std::pair<std::string, Dictionary>> events;
    for (const std::string& frame : socket.takeSent()) {
      const std::string prefix = "42/ios,";
      if (frame == "40/ios,") {
        events.emplace_back("connect", Dictionary());
        continue;
      }
      EXPECT_EQ(frame.substr(0, prefix.size()), prefix);
      const Value event = NSJSONSerialization::JSONObjectWithData(frame.substr(prefix.size())).value();
      events.emplace_back(event.array()[0].text(), event.array()[1].dictionary());
    }
    return events;
  }
  static std::string pairCodeOf(const Dictionary& payload) { return at(payload, "pairCode").description(); }

  SimulatedDevice device;
  SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::shared_ptr<ScriptedServer> server = std::make_shared<ScriptedServer>();
  std::shared_ptr<KovaOptions> options = device.options();
  CaptureSettings settings;
  std::shared_ptr<UIView> button = std::make_shared<UIButton>();
  std::shared_ptr<UIWindow> window;
  std::shared_ptr<KovaEventVisualizer> visualizer;
};

constexpr const char* kQuestion =
    "Please confirm that the following pairing code matches the one in your browser: ";

TEST_F(PairingTest, AnnouncesTheDeviceForAMinute) {
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
  const std::string head = R"(42/ios,["device_available",{"appId":"12345","deviceId":")";
  const std::string tail = R"(","deviceName":"Ada's phone","deviceType":"iPhone15,2"}])";
  ASSERT_EQ(sent[1].substr(0, head.size()), head);
  const std::string id = sent[1].substr(head.size(), sent[1].find('"', head.size()) - head.size());
  EXPECT_EQ(sent[1], head + id + tail);
  EXPECT_LE(std::stoull(id), 0xffffffffu);

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

TEST_F(PairingTest, TriesSixTimesToConnect) {
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

TEST_F(PairingTest, StopsTryingWhenToldTo) {
  options->setTestOnlyEVReconnectAttemptInterval(0.5);
  options->setTestOnlyEVReconnectAttemptLimit(3);
  for (const int status : {401, 403}) {
    server->onConnect = [status](ScriptedSocket& socket) { socket.refuses(status); };
    connect();
    device.advance(100);
    EXPECT_EQ(attempts(), 1u) << status;
    server->sockets.clear();
  }
  server->onConnect = [](ScriptedSocket& socket) { socket.refuses(402); };
  connect();
  device.advance(1);
  EXPECT_EQ(attempts(), 3u);
  device.advance(100);
  EXPECT_EQ(attempts(), 3u);
  server->sockets.clear();

  connect();
  device.advance(0.5);
  EXPECT_EQ(attempts(), 2u);
  visualizer->disconnect();
  device.advance(100);
  EXPECT_EQ(attempts(), 2u);

  // A connection begins the count anew.
  options->setTestOnlyEVReconnectAttemptLimit(2);
  server->sockets.clear();
  server->onConnect = [this](ScriptedSocket& socket) {
    attempts() == 2 ? socket.letsIn() : socket.refuses(402);
  };
  connect();
  device.advance(0.5);
  goToBackgroundAndBack();
  device.advance(100);
  EXPECT_GE(attempts(), 4u);
}

TEST_F(PairingTest, PairsWhenTheUserAccepts) {
  ScriptedSocket& server1 = open();
  request("40 12");
  EXPECT_NE(device.application->keyWindow(), window);
  EXPECT_TRUE(user.sees("Confirm connection?"));
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "40 12"));
  device.advance(1000);
  EXPECT_THAT(names(server1), IsEmpty()) << "no longer announced";
  EXPECT_FALSE(visualizer->isPaired());
  EXPECT_EQ(record(), nullptr);

  user.taps("Accept");
  EXPECT_TRUE(visualizer->isPaired());
  EXPECT_TRUE(visualizer->isCapturing());
  const auto sent = events(server1);
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent[0].first, "device_accepted_pair");
  EXPECT_EQ(pairCodeOf(sent[0].second), "40 12");
  EXPECT_TRUE(device.application->isIdleTimerDisabled());
  EXPECT_EQ(device.application->keyWindow(), window);
  EXPECT_FALSE(user.sees("Confirm connection?"));

  visualizer->disconnect();
  device.drain();
  EXPECT_THAT(names(server1), ElementsAre("device_left"));
  EXPECT_TRUE(server1.isCancelled());
  EXPECT_FALSE(visualizer->isPaired() || visualizer->isCapturing());
  EXPECT_FALSE(device.application->isIdleTimerDisabled());
}

TEST_F(PairingTest, AsksAboutTheNewestCodeOnce) {
  open();
  request("1");
  const auto shown = user.findsText("Accept");
  request("1");
  EXPECT_EQ(user.findsText("Accept"), shown);
  request("2");
  EXPECT_NE(user.findsText("Accept"), shown);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "2"));
  EXPECT_FALSE(user.sees(std::string(kQuestion) + "1"));

  // A flood: what was replaced once stays long enough to be answered, and of all that waits the last is next.
  for (int i = 3; i <= 1000; ++i) {
    socket().says(R"(42/ios,["web_requested_pair",{"pairCode":")" + std::to_string(i) + R"("}])");
  }
  device.advance(1.9);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "2"));
  device.advance(0.1);
  EXPECT_TRUE(user.sees(std::string(kQuestion) + "1000"));
  user.taps("Accept");
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(pairCodeOf(sent[0].second), "1000");
  EXPECT_EQ(device.application->keyWindow(), window);
}

TEST_F(PairingTest, RejectDisconnectsWithoutAWord) {
  ScriptedSocket& rejected = open();
  request("1");
  user.taps("Reject");
  EXPECT_TRUE(rejected.isCancelled());
  EXPECT_THAT(names(rejected), IsEmpty());
  EXPECT_FALSE(visualizer->isPaired());
  EXPECT_EQ(device.application->keyWindow(), window);
  device.advance(1000);
  EXPECT_EQ(attempts(), 1u);
}

TEST_F(PairingTest, AnAnswerForAConnectionThatIsGoneIsVoid) {
  open();
  request("1");
  socket().fails();
  device.drain();
  user.taps("Accept");
  EXPECT_FALSE(visualizer->isPaired());
  EXPECT_EQ(device.application->keyWindow(), window);

  visualizer->connect();
  device.drain();
  letIn();
  request("2");
  goToBackgroundAndBack();
  EXPECT_FALSE(user.sees("Confirm connection?")) << "taken back with the connection";
  EXPECT_EQ(device.application->keyWindow(), window);
  letIn();
  EXPECT_FALSE(visualizer->isPaired());

  // A request that was on its way to the main thread when the connection ended asks nobody.
  socket().says(R"(42/ios,["web_requested_pair",{"pairCode":"3"}])");
  visualizer->disconnect();
  device.drain();
  EXPECT_FALSE(user.sees("Confirm connection?"));
}

TEST_F(PairingTest, ANewConnectionHasNobodysAgreement) {
  ScriptedSocket& first = open();
  pair("1");
  const auto ofFirst = record();
  visualizer->connect();
  device.drain();
  EXPECT_THAT(names(first), ElementsAre("device_left"));
  EXPECT_FALSE(visualizer->isPaired() || visualizer->isCapturing());
  letIn();
  consume(ofFirst);
  EXPECT_THAT(names(socket()), IsEmpty());
}

TEST_F(PairingTest, SendsWhatIsRecordedAfterAccept) {
  open();
  consume(record());
  EXPECT_THAT(names(socket()), IsEmpty());
  pair("1");
  consume(record());
  consume(recordTouch(button.get()));
  consume(recordTouch(nullptr));
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(3));
  EXPECT_EQ(sent[2].second.find("image_data"), nullptr) << "a touch without a view has a message alone";
  struct {
    bool full;
    bool ancestry;
  } const expected[] = {{false, false}, {true, true}};
  for (std::size_t i = 0; i < 2; ++i) {
    const auto& [name, data] = sent[i];
    EXPECT_EQ(name, "device_captured_event");
    EXPECT_EQ(json(at(data, "message")), R"({"name":"m"})");
    EXPECT_EQ(pairCodeOf(data), "1");
    EXPECT_EQ(at(data, "image_format"), Value("png"));
    EXPECT_NE(data.find("image_data"), nullptr);
    EXPECT_EQ(data.find("full_image_data") != nullptr, expected[i].full);
    EXPECT_EQ(data.find("view_ancestry") != nullptr, expected[i].ancestry);
  }

  // Somebody else asks: nothing until the user has answered, and nothing of the time before to him.
  const auto ofFirst = record();
  request("2");
  EXPECT_EQ(record(), nullptr);
  consume(ofFirst);
  EXPECT_THAT(names(socket()), IsEmpty());
  user.taps("Accept");
  consume(ofFirst);
  EXPECT_THAT(names(socket()), ElementsAre("device_accepted_pair"));
  const auto ofSecond = record();
  consume(ofSecond);
  EXPECT_THAT(names(socket()), ElementsAre("device_captured_event"));

  visualizer->disconnect();
  consume(ofSecond);
  EXPECT_THAT(names(socket()), ElementsAre("device_left"));
}

// The whole library: what the user does until "Accept", the tap on it included, is nobody's business.
TEST_F(PairingTest, TheTapOnAcceptIsNotSent) {
  options = device.optionsWithScreens();
  server = std::make_shared<ScriptedServer>(options->testOnlyUrlSession());
  options->setTestOnlyUrlSession(server);
  device.start(options);
  Kova::startEVPairing();
  device.drain();
  letIn();
  request("1");
  user.taps("Accept");
  device.advance(20);
  EXPECT_THAT(names(socket()), ElementsAre("device_accepted_pair"));

  user.taps(*button);
  device.advance(20);
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_NE(at(sent[0].second, "message/event/touchEvent"), Value());
  EXPECT_NE(sent[0].second.find("full_image_data"), nullptr);
  device.settle();
}

TEST_F(PairingTest, LeavesInTheBackgroundAndComesBackAsAnotherDevice) {
  ScriptedSocket& first = open();
  pair();
  consume(record());
  const auto before = events(first);
  device.application->enterBackground();
  device.drain();
  const auto left = events(first);
  ASSERT_THAT(left, SizeIs(1));
  EXPECT_EQ(left[0].first, "device_left");
  EXPECT_EQ(pairCodeOf(left[0].second), "1234");
  EXPECT_EQ(at(left[0].second, "deviceId"), at(before[0].second, "deviceId"));
  EXPECT_TRUE(first.isCancelled());

  device.application->enterForeground();
  device.drain();
  EXPECT_EQ(attempts(), 2u);
  socket().letsIn();
  device.drain();
  const auto back = events(socket());
  ASSERT_THAT(back, SizeIs(2));
  EXPECT_NE(at(back[1].second, "deviceId"), at(left[0].second, "deviceId"));
  EXPECT_EQ(back[1].second.find("pairCode"), nullptr);
  EXPECT_FALSE(visualizer->isPaired());

  // Each attempt listens once more, and none stops listening, also not when disconnected; up to a bound.
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

TEST_F(PairingTest, TheLastWordIsNotCutOffAndDoesNotTakeForEver) {
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

// Whatever becomes of the question, its window does not stay over the app.
TEST_F(PairingTest, TheAppIsUncoveredWhateverHappens) {
  const auto expectUncovered = [&](const char* when) {
    device.drain();
    EXPECT_EQ(device.application->keyWindow(), window) << when;
    EXPECT_FALSE(user.sees("Confirm connection?")) << when;
  };
  open();
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      UIWindowDidBecomeVisibleNotification, [&](const NSNotification&) {
        visualizer->disconnect();
        KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
      });
  request("1");
  expectUncovered("the connection ended while the question was put up");
  NSNotificationCenter::defaultCenter().removeObserver(token);

  visualizer->connect();
  device.drain();
  letIn();
  request("2");
  EXPECT_TRUE(user.sees("Confirm connection?"));
  device.application->disconnectScene(*device.scene);
  device.scene = nullptr;
  window = device.show(std::make_shared<UIViewController>());
  device.drain();
  request("3");
  EXPECT_TRUE(user.sees("Confirm connection?")) << "in the scene that is there now";
  KIBailer::sharedBailer().registerException(NSException("a", "b"), "test", true);
  user.taps("Accept");
  expectUncovered("the library has bailed");
}

TEST_F(PairingTest, AConnectionThatDropsIsNotMadeAnew) {
  struct {
    std::function<void(ScriptedSocket&)> end;
    const char* line;
  } const cases[] = {
      {[](auto& socket) { socket.closes(1001, "bye"); }, "Did Stop Listening With Code: 1001"},
      {[](auto& socket) { socket.fails(); }, "Did Stop Listening With Error: Error Domain=NSURLErrorDomain"},
      {[](auto& socket) { socket.says("1"); }, "Disconnected at Server's Request"},
      {[this](auto& socket) {
         socket.says("2");
         device.advance(33);
       },
       "Disconnected due to Heartbeat Timeout"},
  };
  for (const auto& [end, line] : cases) {
    server->sockets.clear();
    open();
    pair();
    device.clearLog();
    end(socket());
    device.drain();
    ASSERT_THAT(device.log(), SizeIs(1));
    EXPECT_THAT(device.log()[0],
                testing::StartsWith(std::string("[KOVA DEBUG]: WebSocketConnection - ") + line));
    EXPECT_FALSE(visualizer->isPaired());
    EXPECT_TRUE(socket().isCancelled());
    device.advance(1000);
    EXPECT_EQ(attempts(), 1u) << line;
    visualizer = nullptr;
  }
  open();
  socket().setSending(ScriptedSocket::Sending::Fails);
  device.advance(5);
  EXPECT_THAT(device.log().back(),
              HasSubstr("WebSocketConnection - Failed To Send Message With Error: Error"));
  EXPECT_FALSE(socket().isCancelled());
}

TEST_F(PairingTest, IgnoresMessagesThatMakeNoSense) {
  open();
  device.clearLog();
  hears(R"(["a","\u0000"])"
        "\xff");
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Failed to decode event message data."));
  const std::string request = R"(["web_requested_pair",{"pairCode":)";
  for (const std::string& bad : std::vector<std::string>{
           "",
           "{}",
           "[]",
           "7",
           R"(["a"])",
           R"(["a",{},{}])",
           R"([{},"a"])",
           R"([1,{}])",
           R"(["a",[]])",
           request + "1234}]",
           request + "null}]",
           request + "[]}]",
           request + "\"\"}]",
           request + '"' + std::string(65, '1') + "\"}]",
           request + "\"1\",\"x\":\"" + std::string(1 << 20, 'x') + "\"}]",
           std::string(100'000, '['),
           request + "\"1\",\"x\":" + std::string(60'000, '['),
       }) {
    device.clearLog();
    hears(bad);
    EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Failed to deserialize JSON Object with data."))
        << bad.substr(0, 80);
  }
  device.clearLog();
  hears(R"(["web_requested_pair",{"code":"1"}])");
  hears(R"(["other",{"pairCode":"1"}])");
  EXPECT_THAT(device.log(), IsEmpty());
  EXPECT_FALSE(user.sees("Confirm connection?"));
  device.advance(5);
  EXPECT_THAT(names(socket()), ElementsAre("device_available")) << "goes on";
}

TEST_F(PairingTest, TestsMaySkipTheQuestionAndTheScreenshots) {
  options->setTestOnlySkipEVPairingDialog(true);
  options->setTestOnlyOmitEVScreenshots(true);
  open();
  request("7");
  EXPECT_FALSE(user.sees("Confirm connection?"));
  EXPECT_TRUE(visualizer->isPaired());
  consume(record());
  const auto sent = events(socket());
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(sent[1].first, "device_captured_event");
  EXPECT_EQ(pairCodeOf(sent[1].second), "7");
  EXPECT_EQ(sent[1].second.find("image_data"), nullptr);
}

}  // namespace
