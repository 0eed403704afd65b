#include "src/core/tracker/Kova+Host.h"

#include <Kova/Kova.h>

#include <atomic>
#include <optional>
#include <string>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"
#include "platform/runtime/Fork.h"
#include "src/core/Guard.h"
#include "src/core/KIBailer.h"

using namespace platform;

namespace {

std::atomic<bool> isStarted = false;
std::atomic<bool> hasLoopOfItsOwn = false;

std::optional<std::string> noneIfEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

void startApplication(const KovaHost& host) {
  startLinuxApplication({.applicationName = host.name,
                         .applicationIdentifier = host.identifier,
                         .rootDirectory = host.directory},
                        {{"CFBundleShortVersionString", noneIfEmpty(host.version)},
                         {"CFBundleVersion", noneIfEmpty(host.build)}});
  if (!host.assumesNetwork) return;
  NetworkReachability::installFlagSource(
      [](const NetworkReachability::Target&) { return std::optional(kNetworkReachabilityFlagsReachable); });
}

}  // namespace

bool kova::isOnThreadOfHost() { return !hasLoopOfItsOwn || Scheduler::current().isMainThread(); }

void Kova::startHost(const KovaHost& host) {
  kova::guarded({"Kova", "startHost:"}, [&host] {
    if (isStarted.exchange(true)) return;
    if (host.runLoop == KovaRunLoop::OfItsOwn) {
      ThreadScheduler::installed().ownRunLoop().runOnThreadOfItsOwn();
      hasLoopOfItsOwn = true;
      runInForkedChildren([] { hasLoopOfItsOwn = false; });
      KIBailer::sharedBailer().bailInForkedChildren();  // who have no such thread
    }
    kova::onThreadOfHost([&host] {
      kova::guarded({"Kova", "startHost:"}, [&host] { startApplication(host); });
    });
  });
}
