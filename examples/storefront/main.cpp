// A small shop that Kova captures, used by a script or, with --window, by whoever runs it; see --help.

#include <Kova/Kova.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "examples/storefront/Arguments.h"
#include "examples/storefront/RecordedLog.h"
#include "examples/storefront/ShopApp.h"
#include "examples/storefront/ShopEnrichment.h"
#include "examples/storefront/Story.h"
#include "examples/storefront/Style.h"
#include "examples/support/DeviceWindow.h"
#include "examples/support/SDLRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIDevice.h"
#include "platform/uikit/UIScreen.h"

namespace {

constexpr platform::CGSize kPhone{390, 844};
constexpr platform::CGSize kTablet{1024, 768};
constexpr double kUploadInterval = 1;  // seconds
// Seconds that the last uploads get. What they do not manage is on disk, and goes with the next start.
constexpr double kUploadTime = 1.5;

// The scheme of the links that pair the app with a dashboard.
platform::Value urlTypes(const Arguments& arguments) {
  const platform::Array schemes{"kova-" + arguments.environment};
  return platform::Array{platform::Dictionary{{"CFBundleURLSchemes", schemes}}};
}

void startPlatform(const Arguments& arguments) {
  platform::startLinuxApplication({.applicationName = "Storefront",
                                   .applicationIdentifier = "com.example.storefront",
                                   .rootDirectory = arguments.dataDirectory},
                                  {{"CFBundleShortVersionString", "1.0"},
                                   {"CFBundleVersion", "1"},
                                   {"CFBundleURLTypes", urlTypes(arguments)}});
  auto device = platform::UIDevice::currentDevice().facts();
  device.name = arguments.tablet ? "Ada's tablet" : "Ada's phone";
  platform::UIDevice::currentDevice().setFacts(std::move(device));
  // The loopback counts as a network, so that a machine without any other will do.
  platform::NetworkReachability::installFlagSource([](const platform::NetworkReachability::Target&) {
    return std::optional(platform::kNetworkReachabilityFlagsReachable);
  });
}

void startKova(const Arguments& arguments, const std::shared_ptr<ShopEnrichment>& enrichment) {
  auto options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(arguments.captureUrl);
  options->setEventVisualizerWebSocketBaseUrl(arguments.visualizerUrl);
  options->setDebug(true);
  options->setEnableGestureAutocapture(true);
  options->setMaskedPictures(!arguments.unmasked);
  options->setAutocaptureEnrichmentDelegate(enrichment);
  Kova::initialize(arguments.environment, options);
  Kova::changeInterval(kUploadInterval);
}

// Stores everything that is still in memory, and sends what time allows.
template <typename Loop>
void leave(Loop& loop) {
  platform::UIApplication::sharedApplication()->enterBackground();
  loop.runFor(kUploadTime);
}

void runInWindow(const Arguments& arguments) {
  DeviceWindow window("Storefront", arguments.tablet ? kTablet : kPhone);
  auto& loop = *new SDLRunLoop;  // lives as long as the process
  platform::ThreadScheduler::installed().setMainRunLoop(loop);
  startPlatform(arguments);
  RecordedLog::readBy([](const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  });
  ShopApp app;
  const auto enrichment = std::make_shared<ShopEnrichment>(app.basket());
  startKova(arguments, enrichment);
  const int scenes = arguments.tablet ? 2 : 1;
  for (int i = 0; i < scenes; ++i) app.openScene(ShopApp::frameOfScene(i, scenes));
  if (arguments.openedUrl) Kova::handleOpenURL(*arguments.openedUrl);
  window.run(loop);
  leave(loop);
}

void tellStory(const Arguments& arguments) {
  startPlatform(arguments);
  platform::UIScreen::mainScreen().setSize(arguments.tablet ? kTablet : kPhone);
  ShopApp app;
  const auto enrichment = std::make_shared<ShopEnrichment>(app.basket());
  Story story(app, arguments.pause);
  startKova(arguments, enrichment);
  if (arguments.openedUrl) {
    story.tellToSomebodyWatching(*arguments.openedUrl);
  } else if (arguments.tablet) {
    story.tellOnTheTablet();
  } else {
    story.tellOnThePhone();
  }
  leave(platform::ThreadScheduler::installed().ownRunLoop());
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = Arguments::parse(argc, argv);
  if (arguments.dark) style::chooseDark();
  try {
    if (arguments.window) {
      runInWindow(arguments);
    } else {
      tellStory(arguments);
    }
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "storefront: %s\n", problem.what());
    return 1;
  }
  return 0;
}
