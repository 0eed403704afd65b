#include "src/core/tracker/Kova+Host.h"

#include <Kova/Kova.h>

#include <atomic>
#include <mutex>
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

void startHostOnce(const KovaHost& host) {
  if (host.runLoop == KovaRunLoop::OfItsOwn) {
    ThreadScheduler::installed().ownRunLoop().runOnThreadOfItsOwn();
    hasLoopOfItsOwn = true;
    runInForkedChildren([] { hasLoopOfItsOwn = false; });
    KIBailer::sharedBailer().bailInForkedChildren();  // who have no such thread
  }
  kova::onThreadOfHost([&host] {
    kova::guarded({"Kova", "startHost:"}, [&host] { startApplication(host); });
  });
}

}  // namespace

bool kova::isOnThreadOfHost() { return !hasLoopOfItsOwn || Scheduler::current().isMainThread(); }

// Whoever calls at the same time waits: it goes on to initialize, which needs the files' places.
void Kova::startHost(const KovaHost& host) {
  constexpr kova::Place kStarting("Kova", "startHost:");
  kova::guarded(kStarting, [&] {
    static std::once_flag once;
    std::call_once(once, [&] { kova::guarded(kStarting, [&host] { startHostOnce(host); }); });
  });
}
