// The whole library, paired by the capture service's own socket.io server over real sockets. Needs node on
// the PATH and the service's npm packages.

#include <gmock/gmock.h>
#include <signal.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/simulator/SimulatedUser.h"
#include "platform/uikit/UIKit.h"
#include "src/storage/KovaSharedURLSession.h"
#include "tests/src/road/ChildProcess.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

// The dashboard's side of the service, by hand: keeps what it is told. The service's URL is one of http.
class Page : public std::enable_shared_from_this<Page> {
 public:
  explicit Page(const std::string& url)
      : socket_(NSURLSession::sharedSession().webSocketTask(NSURLRequest(
            NSURL::create("ws" + url.substr(4) + "/socko/?EIO=4&transport=websocket").value()))) {}
  ~Page() { socket_->cancel(); }

  void open() {
    socket_->resume();
    listen();
  }
  void emits(const std::string& name, const Value& argument) {
    send("42/web," + json(Array{name, argument}));
  }
  // The latest of that name; empty while there is none.
  Dictionary latest(std::string_view name) const {
    for (auto event = events_.rbegin(); event != events_.rend(); ++event) {
      if (event->first == name) return event->second;
    }
    return {};
  }

 private:
  void listen() {
    socket_->receiveMessage([self = weak_from_this()](auto message, auto) {
      if (!message) return;
      Scheduler::current().mainRunLoop().perform([self, text = message->bytes()] {
        if (const auto page = self.lock()) page->hears(text);
      });
    });
  }
  void hears(const std::string& frame) {
    const std::string prefix = "42/web,";
    if (frame.starts_with("0")) send("40/web,");
    if (frame == "2") send("3");
    if (frame.starts_with(prefix)) {
      const Value event = NSJSONSerialization::JSONObjectWithData(frame.substr(prefix.size())).value();
      events_.emplace_back(event.array()[0].text(), event.array()[1].dictionary());
    }
    listen();
  }
  void send(std::string text) {
    socket_->sendMessage(NSURLSessionWebSocketMessage::withString(std::move(text)), [](auto) {});
  }

  const std::shared_ptr<NSURLSessionWebSocketTask> socket_;
  std::vector<std::pair<std::string, Dictionary>> events_;
};

class DashboardTest : public testing::Test {
 protected:
  void startService(const std::string& port = "0") {
    service.emplace(std::vector<std::string>{"node", CAPTURE_SERVICE, "--port", port, "--visualizer",
                                             "--env-id", SimulatedDevice::kEnvironment, "--ping-interval",
                                             "20"});
    const std::string line = service->readLine();
    url = line.substr(line.rfind(' ') + 1);
  }
  void stopService() {
    service->kill(SIGKILL);
    service->wait();
  }
  void runUntilPageSees(const char* event, const char* path, const Value& value) {
    device.runUntil([&] { return at(page->latest(event), path) == value; });
  }

  SimulatedDevice device;
  SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
  std::optional<ChildProcess> service;
  std::string url;
  std::shared_ptr<Page> page;
};

TEST_F(DashboardTest, PairsAndShowsATap) {
  startService();
  stopService();
  const auto root = std::make_shared<UIViewController>();
  const auto button = std::make_shared<UIButton>();
  button->setFrame(CGRectMake(20, 40, 200, 100));
  root->view()->addSubview(button);
  const auto options = device.optionsWithScreens();
  options->setTestOnlyUrlSession(KovaSharedURLSession::sharedSession());
  options->setEventVisualizerWebSocketBaseUrl(NSURL::create(url + "/"));
  options->setTestOnlyEVReconnectAttemptInterval(0.1);
  options->setTestOnlyVerbose(true);
  device.start(options);
  const auto window = device.show(root);
  Kova::startEVPairing();
  const auto logged = [this](const char* text) { return device.logLinesWith(text).size(); };
  device.runUntil([&] { return logged("Handshake Failed With Error") == 1; });

  startService(url.substr(url.rfind(':') + 1));
  page = std::make_shared<Page>(url);
  page->open();
  device.runUntil([&] { return !page->latest("state").empty(); });
  device.advance(0.1);
  runUntilPageSees("device", "state", "available");
  EXPECT_EQ(at(page->latest("device"), "appVersion"), Value("1.0"));
  EXPECT_EQ(at(page->latest("device"), "name"), Value("Ada's phone"));

  page->emits("pair", {{"device", at(page->latest("device"), "id")}});
  device.runUntil([&] { return user.sees("Accept"); });
  runUntilPageSees("device", "state", "asked");
  EXPECT_TRUE(user.sees("Please confirm that the following pairing code matches the one in your browser: " +
                        at(page->latest("device"), "pairCode").description()));
  user.taps("Accept");
  runUntilPageSees("device", "state", "paired");

  user.taps(*button);
  device.advance(1);
  runUntilPageSees("event", "kind", "touch");
  const Dictionary event = page->latest("event");
  EXPECT_EQ(at(event, "id"), Value(1)) << "and not the tap on Accept";
  for (const char* part : {"hasScreen", "hasCrop", "hasAncestry"})
    EXPECT_EQ(at(event, part), Value(true)) << part;

  const std::size_t pings = logged("ﮩ٨ـﮩﮩ٨ـ♡");
  device.runUntil([&] { return logged("ﮩ٨ـﮩﮩ٨ـ♡") >= pings + 3; });
  Kova::stopEVPairing();
  runUntilPageSees("device", "state", "gone");
}

}  // namespace
