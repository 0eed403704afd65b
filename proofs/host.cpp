// The host that script/prove attacks: an app of one window that makes calls of every kind, each with a name
// of its own, and tells a reader on its standard output what it is about to call and what has returned.
//
//   proof-host URL DATA work FIRST COUNT   COUNT calls, named from FIRST on, with uploads in between
//   proof-host URL DATA drain              starts, sends what is there, leaves
//   proof-host URL DATA call NAME          the one public call of that name, with faults_arm() around it
//   proof-host URL DATA calls              prints the names for `call`
//
// It writes by bare system calls, so that what is injected into the process does not reach its ledger:
// "? e7" before call 7, "+ e7" once it has returned, "flushed STORED SENT", "status {...}" and "end".

#include <Kova/Kova.h>
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

extern "C" __attribute__((weak)) void faults_arm(int arms);

using namespace platform;

namespace {

constexpr const char* kEnvironment = "12345";
constexpr double kPatience = 5;           // seconds for a shutdown
constexpr double kUploadInterval = 0.02;  // seconds, so that passes fall between the calls

void arm(bool arms) {
  if (faults_arm) faults_arm(arms ? 1 : 0);
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

void start(const char* url, double interval = kUploadInterval) {
  auto options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(url);
  options->setDisableTelemetryCapture(true);
  options->setDebug(std::getenv("PROOF_DEBUG") != nullptr);
  Kova::initialize(kEnvironment, options);
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

int work(const App& app, const char* url, int first, int count) {
  start(url);
  app.showScreen("First screen");
  for (int number = first; number < first + count; ++number) {
    callNumber(app, number);
    if (number % 3 == 0) runFor(0.005);
  }
  return leave();
}

using Calls = std::map<std::string, std::function<void(const App&, const char*)>, std::less<>>;
const Calls kCalls = {
    {"initialize", [](const App&, const char* url) { start(url); }},
    {"initialize again", [](const App&, const char* url) { start(url); }},
    {"track",
     [](const App&, const char*) {
       Kova::track("call", {{"plan", "a plan with a long name"}});
     }},
    {"frameworkTrack",
     [](const App&, const char*) {
       Kova::frameworkTrack("call", {{"a", "b"}}, "wrapper");
     }},
    {"frameworkAutocaptureEvent",
     [](const App&, const char*) {
       Kova::frameworkAutocaptureEvent("call", "wrapper", {{"a", "b"}});
     }},
    {"identify", [](const App&, const char*) { Kova::identify("somebody@example.com"); }},
    {"resetIdentity", [](const App&, const char*) { Kova::resetIdentity(); }},
    {"addUserProperties",
     [](const App&, const char*) {
       Kova::addUserProperties({{"colour", "green"}});
     }},
    {"addEventProperties",
     [](const App&, const char*) {
       Kova::addEventProperties({{"seat", "12A"}});
     }},
    {"removeEventProperty", [](const App&, const char*) { Kova::removeEventProperty("kept"); }},
    {"clearEventProperties", [](const App&, const char*) { Kova::clearEventProperties(); }},
    {"touch", [](const App& app, const char*) { app.touch("call"); }},
    {"action", [](const App& app,
                  const char*) { app.button->sendActionsForControlEvents(UIControlEvents::TouchUpInside); }},
    {"screen", [](const App& app, const char*) { app.showScreen("call"); }},
    {"flush", [](const App&, const char*) { Kova::flush(kPatience); }},
    {"shutdown", [](const App&, const char*) { Kova::shutdown(kPatience); }},
    {"status", [](const App&, const char*) { Kova::status(); }},
    {"userId", [](const App&, const char*) { Kova::userId(); }},
    {"identity", [](const App&, const char*) { Kova::identity(); }},
    {"sessionId", [](const App&, const char*) { Kova::sessionId(); }},
    {"setTrackingEnabled", [](const App&, const char*) { Kova::setTrackingEnabled(false); }},
    {"changeInterval", [](const App&, const char*) { Kova::changeInterval(1); }},
    {"handleOpenURL",
     [](const App&, const char*) { Kova::handleOpenURL(*NSURL::create("https://example.com/a")); }},
    {"enterBackground", [](const App& app, const char*) { app.application->enterBackground(); }},
    {"eraseStored", [](const App&, const char*) { Kova::eraseStored(kEnvironment); }},
};

// The library's queue gets to the call while allocations still fail. What comes after must find no lock held.
int callOnce(const App& app, const char* url, const std::string& name) {
  const auto& call = kCalls.at(name);
  if (name != "initialize") {
    start(url, 3600);
    app.showScreen("First screen");
    Kova::addEventProperties({{"kept", "yes"}});
    Kova::track("before");
    Kova::flush(kPatience);
  }
  arm(true);
  call(app, url);
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
  SystemLog::setSink([](std::string_view text) {
    if (std::getenv("PROOF_DEBUG"))
      syscall(SYS_write, STDERR_FILENO, (std::string(text) + "\n").c_str(), text.size() + 1);
  });
  Kova::startHost(
      {.name = "Proof", .identifier = "io.kova.proof", .directory = argv[2], .assumesNetwork = true});
  const App app;
  if (what == "work" && argc == 6) return work(app, argv[1], std::atoi(argv[4]), std::atoi(argv[5]));
  if (what == "call" && argc == 5) return callOnce(app, argv[1], argv[4]);
  start(argv[1]);
  app.showScreen("Last screen");
  return leave();
}

}  // namespace

int main(int argc, char** argv) {
  const int result = run(argc, argv);
  std::exit(result);
}
