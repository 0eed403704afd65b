// A host that does as it is told: it reads commands from its standard input, a JSON array a line, the name
// first, and answers each with a line "= " and a JSON value once the command has been carried out on all
// queues. Every line that the library logs is a line on its standard output too. It ends with its input.
//
//   road-host URL DATA VERSION

#include <Kova/Kova.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/SystemLog.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIKit.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

// ThreadSanitizer's own wait at exit, a second, would be taken for the host's.
extern "C" const char* __tsan_default_options() { return "atexit_sleep_ms=0"; }

namespace {

constexpr const char* kEnvironment = "12345";

std::string captureUrl;
std::atomic<bool> isOnline = true;

// One system call a line, so that lines of several threads do not mix.
void writeLine(std::string line) {
  std::replace(line.begin(), line.end(), '\n', ' ');
  line += '\n';
  for (std::size_t written = 0; written < line.size();) {
    const ssize_t count = write(STDOUT_FILENO, line.data() + written, line.size() - written);
    if (count <= 0) std::_Exit(3);
    written += static_cast<std::size_t>(count);
  }
}

Value start(const Array& arguments) {
  const auto options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(NSURL::create(captureUrl));
  options->setDebug(true);
  // Without it, and as there are no view controllers, there is never a pageview.
  options->setDisableViewControllerAutocapture(arguments[1] == Value("synthetic pageview"));
  options->setCompressUploads(arguments[2] == Value("compressed"));
  Kova::initialize(kEnvironment, options);
  return {};
}

Value textOrNull(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

// 21 events, the first of somebody who has no name yet. Of the others, each second one has a property that
// must be described while it is called.
void callAndHold(bool isHeld) {
  KOVA_serialStateQueue()->setSuspended(isHeld);
  Kova::track("0");
  Kova::identify("ann@example.com");
  Kova::addUserProperties({{"colour", "green"}});
  Kova::addEventProperties({{"seat", "12A"}});
  for (int i = 1; i <= 20; ++i)
    Kova::track(std::to_string(i), {{"number", i % 2 == 0 ? Value(i) : Value(Array{i})}});
}

class PayController : public UIViewController {
  NS_OBJECT(PayController, UIViewController)

 public:
  static void describe(ClassBuilder<PayController>& c) { c.action("pay:", &PayController::pay); }
  void pay(UIButton*) {}
};

// A finger comes down on a button, and its action follows.
void press() {
  const auto controller = std::make_shared<PayController>();
  const auto window = UIWindow::create();
  window->setRootViewController(controller);
  const auto button = std::make_shared<UIButton>();
  button->setFrame(window->bounds());
  button->addTarget(controller, SEL("pay:"), UIControlEvents::TouchUpInside);
  controller->view()->addSubview(button);
  window->makeKeyAndVisible();
  const auto touch = std::make_shared<UITouch>();
  touch->setTarget(window, button);
  UIEvent event;
  event.addTouch(touch);
  UIApplication::sharedApplication()->sendEvent(event);
  button->sendActionsForControlEvents(UIControlEvents::TouchUpInside);
}

using Command = std::function<Value(const Array&)>;

Command doing(std::function<void(const Array&)> action) {
  return [action = std::move(action)](const Array& arguments) {
    action(arguments);
    return Value();
  };
}

const std::map<std::string, Command, std::less<>>& commands() {
  static const auto& commands = *new std::map<std::string, Command, std::less<>>{
      {"start", start},
      {"userId", [](const Array&) { return textOrNull(Kova::userId()); }},
      {"identity", [](const Array&) { return textOrNull(Kova::identity()); }},
      {"sessionId", [](const Array&) { return textOrNull(Kova::sessionId()); }},
      {"track",
       doing([](const Array& a) { Kova::track(a[1].text(), a.size() > 2 ? a[2] : Value(Dictionary())); })},
      {"frameworkTrack",
       doing([](const Array& a) { Kova::frameworkTrack(a[1].text(), a[2], a[3].text(), a[4]); })},
      {"frameworkAutocaptureEvent",
       doing([](const Array& a) { Kova::frameworkAutocaptureEvent(a[1].text(), a[2].text(), a[3]); })},
      {"identify", doing([](const Array& a) { Kova::identify(a[1]); })},
      {"addUserProperties", doing([](const Array& a) { Kova::addUserProperties(a[1]); })},
      {"addEventProperties", doing([](const Array& a) { Kova::addEventProperties(a[1]); })},
      {"changeInterval", doing([](const Array& a) { Kova::changeInterval(a[1].doubleValue()); })},
      {"online", doing([](const Array& a) { isOnline = a[1].boolean(); })},
      {"background", doing([](const Array&) { UIApplication::sharedApplication()->enterBackground(); })},
      {"foreground", doing([](const Array&) { UIApplication::sharedApplication()->enterForeground(); })},
      {"leave",
       [](const Array& a) {
         Kova::track(a[1].text());
         const KovaFlushed flushed = Kova::shutdown(a[2].doubleValue());
         return Value(Array{flushed.isStored, flushed.isSent});
       }},
      {"callAndExit", doing([](const Array& a) {
         callAndHold(a[1].boolean());
         std::exit(0);
       })},
      {"callAndDie", doing([](const Array& a) {
         callAndHold(a[1].boolean());
         raise(SIGKILL);
       })},
      {"pressAndDie", doing([](const Array&) {
         KOVA_serialStateQueue()->setSuspended(true);
         press();
         raise(SIGKILL);
       })},
      {"exit", doing([](const Array&) { std::exit(0); })},
  };
  return commands;
}

// Answers after everything that the command has set off has run: each round goes through the library's queue
// and back to the main loop, and work may hop between the two.
void answerWhenSettled(const Value& answer, int rounds = 4) {
  if (rounds == 0) {
    // Scalars are no JSON documents of their own: written as the one item of an array, less its brackets.
    const std::string text = NSJSONSerialization::dataWithJSONObject(Array{answer}).value();
    return writeLine("= " + text.substr(1, text.size() - 2));
  }
  KOVA_serialStateQueue()->addOperationWithBlock([answer, rounds] {
    Scheduler::current().mainRunLoop().perform([answer, rounds] { answerWhenSettled(answer, rounds - 1); });
  });
}

void execute(const std::string& line) {
  const Value command = NSJSONSerialization::JSONObjectWithData(line).value();
  answerWhenSettled(commands().at(std::string(command.array()[0].text()))(command.array()));
}

// On a thread of its own, so that the main thread can run its loop.
void readCommands() {
  for (std::string line; std::getline(std::cin, line);)
    Scheduler::current().mainRunLoop().perform([line] { execute(line); });
  std::_Exit(0);
}

void startPlatform(const std::string& data, const std::string& version) {
  SystemLog::setSink([](std::string_view message) { writeLine(std::string(message)); });
  MutableDictionary facts{{"CFBundleName", "Road & Rail"}};
  if (!version.empty()) facts.merge({{"CFBundleShortVersionString", version}, {"CFBundleVersion", "7"}});
  startLinuxApplication(
      {.applicationName = "Road", .applicationIdentifier = "io.kova.road", .rootDirectory = data},
      Dictionary(std::move(facts)));
  NetworkReachability::installFlagSource([](const NetworkReachability::Target&) {
    return std::optional<NetworkReachabilityFlags>(isOnline ? kNetworkReachabilityFlagsReachable : 0);
  });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  std::setlocale(LC_ALL, "");        // as toolkits do at their start
  std::ios::sync_with_stdio(false);  // the reader holds no lock of stdin that an exit would wait for
  captureUrl = argv[1];
  startPlatform(argv[2], argv[3]);
  std::thread(readCommands).detach();
  ThreadScheduler::installed().ownRunLoop().run();
  return 0;
}
