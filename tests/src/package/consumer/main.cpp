// A host that knows the library from its installation alone: it starts the library under virtual time, with a
// URL session of its own, tracks an event, and checks that it is uploaded. What draws is loaded, if it is not
// linked, when the host first needs it.

#include <Kova/Kova.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/graphics/TextStyle.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"
#include "platform/simulator/SimulatedScheduler.h"

namespace {

// Keeps what it is asked to send, and never answers.
class KeepingSession : public KOVAURLSessionProtocol {
 public:
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url, Completion) override {
    urls.push_back(url.absoluteString());
    return nullptr;
  }
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion) override {
    if (request.httpBody()) bodies.push_back(*request.httpBody());
    return nullptr;
  }

  std::vector<std::string> urls;
  std::vector<std::string> bodies;
};

int failures = 0;

void expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "consumer: not so: " << what << "\n";
  ++failures;
}

bool isLoaded(const char* library) {
  std::ifstream maps("/proc/self/maps");
  const std::string text{std::istreambuf_iterator<char>(maps), {}};
  return text.find(library) != std::string::npos;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  auto& scheduler = platform::SimulatedScheduler::installNew();
  platform::startLinuxApplication(
      {.applicationName = "Consumer", .applicationIdentifier = "io.kova.consumer", .rootDirectory = argv[1]},
      {{"CFBundleShortVersionString", "1.0"}, {"CFBundleVersion", "1"}});
  platform::NetworkReachability::installFlagSource([](const platform::NetworkReachability::Target&) {
    return std::optional(platform::kNetworkReachabilityFlagsReachable);
  });

  const auto session = std::make_shared<KeepingSession>();
  const auto options = std::make_shared<KovaOptions>();
  options->setTestOnlyUrlSession(session);
  options->setDisableViewControllerAutocapture(true);
  Kova::initialize("1234", options);
  Kova::track("Installed", {{"from", "a package"}});
  scheduler.advance(15);

  expect(Kova::libVersion() == "9.0.0" && KovaLibraryVersion == "9.0.0", "the version of the library");
  expect(KovaVersionNumber == 1.0, "the version number of the framework");
  expect(
      std::string(reinterpret_cast<const char*>(KovaVersionString)) == "@(#)PROGRAM:Kova  PROJECT:Kova-1\n",
      "the version text of the framework");
  expect(Kova::userId().value_or("").size() == 16, "a user id of 16 digits");
  expect(!session->urls.empty() && session->urls.front().find("/h?a=1234&") != std::string::npos,
         "a pageview is sent");
  expect(!session->bodies.empty() && session->bodies.front().find("\"Installed\"") != std::string::npos,
         "the event is sent");
  expect(!LOADS_PARTS || !(isLoaded("libcairo") || isLoaded("KovaDrawing") || isLoaded("KovaSockets")),
         "a host that only tracks loads neither drawing nor sockets");
  expect(platform::sizeOfText("Installed", platform::Font{}).width > 0, "text is measured");
  return failures == 0 ? 0 : 1;
}
