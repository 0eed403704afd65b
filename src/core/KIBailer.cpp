#include "src/core/KIBailer.h"

#include <cmath>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/runtime/Fork.h"
#include "src/core/KovaLogger.h"
#include "src/telemetry/KITelemetry.h"

using namespace platform;

namespace {

// The last version of Foundation before iOS 10.0.
constexpr double kNewestUnsupportedFoundation = 1299;

}  // namespace

KIBailer& KIBailer::sharedBailer() {
  static KIBailer& bailer = *new KIBailer;
  if (bailer.untold_.load(std::memory_order_relaxed) != Untold::Nothing) bailer.tell();
  return bailer;
}

KIBailer::KIBailer() {
  reset();
  assertMinimumOSVersion();
}

void KIBailer::reset() {
  const MutexLock lock(mutex_);
  isBailed_ = false;
  bailedSource_ = std::nullopt;
}

void KIBailer::assertMinimumOSVersion() {
  if (std::floor(NSProcessInfo::processInfo().foundationVersionNumber()) > kNewestUnsupportedFoundation)
    return;
  bailWithSource("assertMinimumOSVersion");
  untold_ = Untold::OldSystem;
}

// Not while the shared bailer is made: a log sink of the host may call the library, which would ask for it
// again.
void KIBailer::tell() {
  switch (untold_.exchange(Untold::Nothing)) {
    case Untold::Nothing:
      return;
    case Untold::OldSystem:
      return KovaLog(
          "The Kova library has been disabled because this device is running a version of iOS older than 10.0.");
    case Untold::Fork:
      return KovaLogDebug(
          "The process was forked after Kova was initialized: the child records and sends nothing. Initialize Kova after the fork.");
  }
}

void KIBailer::bailInForkedChildren() {
  runInForkedChildren([] {
    KIBailer& bailer = sharedBailer();
    bailer.bailWithoutReport();
    bailer.untold_ = Untold::Fork;
  });
}

std::optional<std::string> KIBailer::bailedSource() const {
  const MutexLock lock(mutex_);
  return bailedSource_;
}

void KIBailer::bailWithSource(std::string_view source) {
  const MutexLock lock(mutex_);
  bailedSource_ = source;
  isBailed_ = true;
}

void KIBailer::registerException(const NSException& exception, const kova::Place& place, bool bail) {
  registerException(exception, formatted("%@/%@", place.className, place.selector), bail);
}

void KIBailer::registerException(const NSException& exception, std::string_view source, bool bail) {
  try {
    KITelemetry::sharedTelemetry().notifyBailedWithException(exception, source);
  } catch (const std::exception& failure) {
    KovaLog("The failure could not be reported: %@", failure.what());
  }
  KovaLog("The Kova library caught an exception at %@. (name: %@, reason: %@, userInfo: %@, stacktrace: %@)",
          source, exception.name(), exception.reason(), exception.userInfo(), exception.callStackSymbols());
  if (!bail) return;
  KovaLog("The Kova library has been disabled because of an uncaught exception.");
  bailWithSource(source);
}
