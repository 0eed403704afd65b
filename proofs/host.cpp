// The host that script/prove attacks: an app of one window that makes calls of every kind, each with a name
// of its own, and tells a reader on its standard output what it is about to call and what has returned.
//
//   proof-host URL DATA work FIRST COUNT   COUNT calls, named from FIRST on, with uploads in between
//   proof-host URL DATA drain              starts, sends what is there, leaves
//   proof-host URL DATA call NAME          the one public call of that name, with faults_arm() around it
//   proof-host URL DATA calls              prints the names for `call`
//
// It writes by bare system calls, so that what is injected into the process does not reach its ledger:
// "here 1" at its beginning, "? e7" before call 7, "+ e7" once it has returned, "given
// up" with PROOF_DEBUG when it leaves out what three starts were killed over, "flushed STORED SENT",
// "status {...}" and "end".

#include <Kova/Kova.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/SystemLog.h"
#include "platform/uikit/UIKit.h"

using namespace platform;

namespace {

constexpr const char* kEnvironment = "12345";
constexpr double kPatience = 25;          // seconds for a shutdown, on a busy machine
constexpr double kUploadInterval = 0.02;  // seconds, so that passes fall between the calls

void arm(bool arms) {
  static const auto armFaults = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, "faults_arm"));
  if (armFaults) armFaults(arms ? 1 : 0);
}

void tell(const char* format, auto... values) {
  char line[1024];
  const int length = std::snprintf(line, sizeof line, format, values...);
  syscall(SYS_write, STDOUT_FILENO, line, static_cast<std::size_t>(length));
}

void runFor(double seconds) { ThreadScheduler::installed().ownRunLoop().runFor(seconds); }

// The window, its button, and a screen at a time.
struct App {
  App() {
    button->setFrame(window->bounds());
    window->makeKeyAndVisible();
  }
  void showScreen(const std::string& title) const {
    const auto screen = std::make_shared<UIViewController>();
    screen->setTitle(title);
    screen->view()->addSubview(button);
    window->setRootViewController(screen);
  }
  void press() const { button->sendActionsForControlEvents(UIControlEvents::TouchUpInside); }
  void touch(const std::string& name) const {
    button->setAccessibilityIdentifier(name);
    const auto finger = std::make_shared<UITouch>();
    finger->setTarget(window, button);
    UIEvent event;
    event.addTouch(finger);
    application->sendEvent(event);
  }
  const std::shared_ptr<UIApplication> application = UIApplication::sharedApplication();
  const std::shared_ptr<UIWindow> window = UIWindow::create();
  const std::shared_ptr<UIButton> button = std::make_shared<UIButton>();
};

std::shared_ptr<KovaOptions> options;

void initialize() { Kova::initialize(kEnvironment, options); }

void start(double interval = kUploadInterval) {
  initialize();
  Kova::changeInterval(interval);
}

// A call whose effect is known by its name: a letter and the number.
void callNumber(const App& app, int number) {
  static constexpr std::string_view kKinds = "eetpeuetseeite";
  const char kind = kKinds[static_cast<std::size_t>(number) % kKinds.size()];
  const std::string name = kind + std::to_string(number);
  tell("? %s\n", name.c_str());
  switch (kind) {
    case 'e':
      Kova::track(name, {{"is", "call " + name}, {"number", number}});
      break;
    case 't':
      app.touch(name);
      break;
    case 'p':
      app.showScreen(name);
      break;
    case 'u':
      Kova::addUserProperties({{name, "of user"}});
      break;
    case 's':
      Kova::addEventProperties({{"seat", name}});
      break;
    default:
      Kova::identify(name);
  }
  tell("+ %s\n", name.c_str());
}

void tellCounts(const char* what, const KovaCounts& c) {
  tell(
      "\"%s\":{\"accepted\":%lu,\"found\":%lu,\"waiting\":%lu,\"delivered\":%lu,\"pushedOut\":%lu,\"refused\":%lu,"
      "\"unsendable\":%lu,\"unreadable\":%lu,\"possiblyTwice\":%lu,\"inMemory\":%lu}",
      what, c.accepted, c.found, c.waiting, c.delivered, c.pushedOut, c.refused, c.unsendable, c.unreadable,
      c.possiblyTwice, c.inMemory);
}

// Those of files; what sockets the network's library keeps is its own affair.
int openFiles() {
  int count = 0;
  for (int file = 0; file < 256; ++file) {
    struct stat facts;
    if (fstat(file, &facts) == 0 && (S_ISREG(facts.st_mode) || S_ISDIR(facts.st_mode))) ++count;
  }
  return count;
}

int leave() {
  const KovaFlushed flushed = Kova::flush(kPatience);
  tell("flushed %d %d\n", flushed.isStored, flushed.isSent);
  const KovaStatus status = Kova::status();
  Kova::shutdown(kPatience);
  tell("status {");
  tellCounts("events", status.events);
  tell(",");
  tellCounts("requests", status.requests);
  tell(",\"files\":%d,\"hasFailed\":%d}\nend\n", openFiles(), Kova::hasFailed());
  return 0;
}

int work(const App& app, int first, int count) {
  start();
  app.showScreen("First screen");
  for (int number = first; number < first + count; ++number) {
    callNumber(app, number);
    if (number % 3 == 0) runFor(0.005);
  }
  return leave();
}

using Calls = std::map<std::string, std::function<void(const App&)>, std::less<>>;

// What a host makes for its call is made before: it is not the library's to fail.
const KovaProperties kProperties{{"plan", "a plan with a long name"}};
const NSURL kLink = *NSURL::create("https://example.com/a");
const Value kName("somebody@example.com");

// The platform may tell the host that memory is out, with or without the library.
void leniently(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    tell("the platform has no memory\n");
  }
}

const Calls kCalls = {
    {"initialize", [](const App&) { initialize(); }},
    {"initialize again", [](const App&) { initialize(); }},
    {"track", [](const App&) { Kova::track("call", kProperties); }},
    {"frameworkTrack", [](const App&) { Kova::frameworkTrack("call", kProperties, "wrapper"); }},
    {"frameworkAutocaptureEvent",
     [](const App&) { Kova::frameworkAutocaptureEvent("call", "wrapper", kProperties); }},
    {"identify", [](const App&) { Kova::identify(kName); }},
    {"resetIdentity", [](const App&) { Kova::resetIdentity(); }},
    {"addUserProperties", [](const App&) { Kova::addUserProperties(kProperties); }},
    {"addEventProperties", [](const App&) { Kova::addEventProperties(kProperties); }},
    {"removeEventProperty", [](const App&) { Kova::removeEventProperty("kept"); }},
    {"clearEventProperties", [](const App&) { Kova::clearEventProperties(); }},
    {"touch", [](const App& app) { leniently([&] { app.touch("call"); }); }},
    {"action", [](const App& app) { leniently([&] { app.press(); }); }},
    {"screen", [](const App& app) { leniently([&] { app.showScreen("call"); }); }},
    {"enterBackground", [](const App& app) { leniently([&] { app.application->enterBackground(); }); }},
    {"flush", [](const App&) { Kova::flush(kPatience); }},
    {"shutdown", [](const App&) { Kova::shutdown(kPatience); }},
    {"status", [](const App&) { Kova::status(); }},
    {"userId", [](const App&) { Kova::userId(); }},
    {"identity", [](const App&) { Kova::identity(); }},
    {"sessionId", [](const App&) { Kova::sessionId(); }},
    {"setTrackingEnabled", [](const App&) { Kova::setTrackingEnabled(false); }},
    {"changeInterval", [](const App&) { Kova::changeInterval(1); }},
    {"handleOpenURL", [](const App&) { Kova::handleOpenURL(kLink); }},
    {"eraseStored", [](const App&) { Kova::eraseStored(kEnvironment); }},
};

// The library's queue gets to the call while allocations still fail. What comes after must find no lock held.
int callOnce(const App& app, const std::string& name) {
  const auto& call = kCalls.at(name);
  if (name != "initialize") {
    start(3600);
    app.showScreen("First screen");
    Kova::addEventProperties({{"kept", "yes"}});
    Kova::track("before");
    Kova::flush(kPatience);
  }
  arm(true);
  call(app);
  Kova::flush(kPatience);
  arm(false);
  tell("+ %s\n", name.c_str());
  Kova::track("after");
  app.touch("after");
  runFor(0.001);
  return leave();
}

int run(int argc, char** argv) {
  const std::string what = argc > 3 ? argv[3] : "calls";
  if (what == "calls") {
    for (const auto& [name, call] : kCalls) tell("%s\n", name.c_str());
    return 0;
  }
  tell("here %d\n", 1);
  SystemLog::setSink([](std::string_view text) {
    if (text.find("no start has got through") != text.npos) tell("given %s\n", "up");
    if (std::getenv("PROOF_DEBUG"))
      syscall(SYS_write, STDERR_FILENO, (std::string(text) + "\n").c_str(), text.size() + 1);
  });
  options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(argv[1]);
  options->setDisableTelemetryCapture(true);
  options->setDebug(std::getenv("PROOF_DEBUG") != nullptr);
  Kova::startHost({.name = "Proof",
                   .identifier = "io.kova.proof",
                   .version = "1.0",
                   .directory = argv[2],
                   .assumesNetwork = true});
  const App app;
  if (what == "work" && argc == 6) return work(app, std::atoi(argv[4]), std::atoi(argv[5]));
  if (what == "call" && argc == 5) return callOnce(app, argv[4]);
  start();
  app.showScreen("Last screen");
  return leave();
}

}  // namespace

int main(int argc, char** argv) {
  const int result = run(argc, argv);
  std::exit(result);
}
