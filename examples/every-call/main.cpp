// A small host that makes every public call once, as an app would over two starts.
//
//   every-call --capture-url URL [--data DIRECTORY] [--start first|second] [--debug]
//
// The first start records, identifies, uploads, goes offline, records once more and leaves. The second, an
// upgraded build with the network back, finds user, properties and the event that was recorded offline again.

#include <Kova/Kova.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "examples/support/CommandLine.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"

namespace {

constexpr const char* kEnvironment = "1234567890";
// Long enough for an upload pass over the loopback to have ended, in seconds.
constexpr double kUploadTime = 1.5;
constexpr double kUploadInterval = 0.5;

constexpr const char* kUsage =
    "usage: every-call --capture-url URL [--data DIRECTORY] [--start first|second] [--debug]\n";

struct Arguments {
  std::optional<platform::NSURL> captureUrl;
  std::string dataDirectory;
  bool isSecondStart = false;
  bool debug = false;
};

bool isSecond(const std::string& start) {
  if (start != "first" && start != "second") throw std::invalid_argument("the start is first or second");
  return start == "second";
}

Arguments parse(int argc, char** argv) {
  Arguments arguments;
  CommandLine line("every-call", kUsage);
  line.flag("--debug", arguments.debug)
      .option("--capture-url", [&](const auto& value) { arguments.captureUrl = httpURL(value); })
      .option("--data", [&](const auto& value) { arguments.dataDirectory = value; })
      .option("--start", [&](const auto& value) { arguments.isSecondStart = isSecond(value); })
      .parse(argc, argv);
  if (!arguments.captureUrl) line.fail("where is the capture service?");
  return arguments;
}

// The network as this host sees it: the loopback counts, so that the example also runs on a machine without
// any other.
bool isOnline = true;

void startPlatform(const Arguments& arguments) {
  platform::startLinuxApplication(
      {.applicationName = "Every Call",
       .applicationIdentifier = "io.kova.every-call",
       .rootDirectory = arguments.dataDirectory},
      {{"CFBundleShortVersionString", arguments.isSecondStart ? "1.1" : "1.0"}, {"CFBundleVersion", "1"}});
  platform::NetworkReachability::installFlagSource([](const platform::NetworkReachability::Target&) {
    return std::optional(isOnline ? platform::kNetworkReachabilityFlagsReachable
                                  : platform::NetworkReachabilityFlags(0));
  });
}

std::shared_ptr<KovaOptions> optionsFor(const Arguments& arguments) {
  auto options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(arguments.captureUrl);
  options->setDebug(arguments.debug);
  // There are no view controllers here: without this, no event would leave the device.
  options->setDisableViewControllerAutocapture(true);
  return options;
}

void say(const char* what, const std::string& text) { std::printf("  %-18s %s\n", what, text.c_str()); }

void sayWhoWeAre() {
  say("user id", Kova::userId().value_or("none"));
  say("identity", Kova::identity().value_or("none"));
  say("session id", Kova::sessionId().value_or("none"));
}

void runFor(double seconds) { platform::ThreadScheduler::installed().ownRunLoop().runFor(seconds); }

void recordEvents() {
  Kova::track("App opened");
  Kova::track("Checkout", {{"plan", "pro"}, {"trial", true}, {"seats", 3}, {"price", 2.5}});
  Kova::frameworkAutocaptureEvent("tap", "a wrapping framework", {{"component", "<Button>"}});
  Kova::frameworkTrack("Signed up", {{"from", "ad & banner"}}, "a wrapping framework", {{"version", "2.1"}});
}

void changeProperties() {
  Kova::addEventProperties({{"theme", "dark"}, {"beta tester", true}, {"temporary", "yes"}});
  Kova::removeEventProperty("temporary");
  Kova::addUserProperties({{"favourite colour", "dunkelgrün"}, {"newsletter", false}});
}

void changeUsers(const std::shared_ptr<KovaOptions>& options) {
  Kova::identify("ada@example.com");
  Kova::track("Identified");
  Kova::resetIdentity();
  Kova::clearEventProperties();
  Kova::track("Anonymous again");
  Kova::setTrackingEnabled(false);
  Kova::track("Never recorded");
  Kova::setTrackingEnabled(true);
  Kova::identify("grace@example.com");
  Kova::addEventProperties({{"theme", "light"}});
  say("tracking", Kova::isTrackingEnabled() ? "enabled" : "disabled");
  Kova::instrumentAutocaptureWithOptions(*options);
}

void openLinks() {
  const auto other = platform::NSURL::create("https://example.com/launch-ev").value();
  Kova::handleOpenURL(other);
  const auto newer = platform::NSURL::create(std::string("kova-") + kEnvironment + "://2/launch-ev").value();
  const platform::UIOpenURLContext contexts[] = {platform::UIOpenURLContext(newer)};
  Kova::handleOpenURLContexts(contexts);
  Kova::startEVPairing();
  Kova::stopEVPairing();
}

void firstStart(const std::shared_ptr<KovaOptions>& options) {
  Kova::changeInterval(kUploadInterval);
  changeProperties();
  recordEvents();
  changeUsers(options);
  openLinks();
  runFor(kUploadTime);

  isOnline = false;
  Kova::track("Recorded offline", {{"seat", "12A"}});
  say("left behind", Kova::flush(kUploadTime).isStored ? "stored" : "lost");
}

void secondStart() {
  Kova::track("Back again");
  Kova::changeInterval(kUploadInterval);
  runFor(kUploadTime);
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = parse(argc, argv);
  startPlatform(arguments);
  const auto options = optionsFor(arguments);
  Kova::initialize(kEnvironment, options);
  std::printf("every-call, %s start, library %s\n", arguments.isSecondStart ? "second" : "first",
              Kova::libVersion().c_str());
  sayWhoWeAre();
  if (arguments.isSecondStart) {
    secondStart();
  } else {
    firstStart(options);
    sayWhoWeAre();
  }
  Kova::stopDebug();
  return 0;
}
