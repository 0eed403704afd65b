#include "src/telemetry/KITelemetry.h"

#include <algorithm>
#include <memory>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/net/NSURLSession.h"
#include "src/telemetry/CaptureEndpoint.h"

using namespace platform;

namespace {

constexpr double kEmptyBodyPeriod = 60.0;  // seconds
constexpr std::int32_t kEmptyBodyReportsPerPeriod = 10;
// Held back at most; a host that never lets the library start must not pay for its failures in memory.
constexpr std::size_t kMostCachedReports = 100;

}  // namespace

KITelemetry& KITelemetry::sharedTelemetry() {
  static KITelemetry& telemetry = *new KITelemetry;
  return telemetry;
}

std::optional<NSURL> KITelemetry::baseUrl() const {
  const MutexLock lock(mutex_);
  return baseUrl_.url();
}

void KITelemetry::setBaseUrl(KovaBaseURL baseUrl) {
  const MutexLock lock(mutex_);
  baseUrl_ = std::move(baseUrl);
}

void KITelemetry::setFollowsEnvironmentProxy(bool follows) {
  const MutexLock lock(mutex_);
  followsEnvironmentProxy_ = follows;
}

std::optional<NSURL> KITelemetry::endpoint() const {
  const MutexLock lock(mutex_);
  return kova::captureEndpoint(baseUrl_);
}

NSURLSessionConfiguration KITelemetry::sessionConfiguration() const {
  auto configuration = NSURLSessionConfiguration::ephemeralConfiguration();
  configuration.keepsResponseBodies = false;
  const MutexLock lock(mutex_);
  configuration.followsEnvironmentProxy = followsEnvironmentProxy_;
  return configuration;
}

KITelemetry::OptOutStatus KITelemetry::optOutStatus() const {
  const MutexLock lock(mutex_);
  return optOutStatus_;
}

void KITelemetry::setOptOutStatus(bool optOut) {
  std::vector<Dictionary> released;
  {
    const MutexLock lock(mutex_);
    optOutStatus_ = optOut ? OptOutStatus::OptedOut : OptOutStatus::OptedIn;
    if (!optOut) released.swap(cache_);
  }
  for (const Dictionary& report : released) makeTelemetryRequest(MutableDictionary(report));
}

void KITelemetry::setMetadataForApp(Dictionary app, Dictionary device, Dictionary sdk) {
  const MutexLock lock(mutex_);
  appMetadata_ = std::move(app);
  deviceMetadata_ = std::move(device);
  sdkMetadata_ = std::move(sdk);
}

Dictionary KITelemetry::buildTelemetryMetadata() const {
  const MutexLock lock(mutex_);
  if (!sdkMetadata_ || !deviceMetadata_ || !appMetadata_) {
    return {{"sdk_metadata", Dictionary{{"source", "ios"}, {"platform_type", "ios"}}},
            {"device_metadata", Dictionary()},
            {"app_metadata", Dictionary()}};
  }
  return {{"sdk_metadata", *sdkMetadata_},
          {"device_metadata", *deviceMetadata_},
          {"app_metadata", *appMetadata_}};
}

NSDate KITelemetry::getCurrentDate() const { return Scheduler::current().now(); }

void KITelemetry::notifyBailedWithException(const NSException& exception, std::string_view source) {
  MutableDictionary entry{{"custom_message", formatted("%@: %@", exception.name(), exception.reason())},
                          {"source", source},
                          {"event_type", "kova bailed"},
                          {"log_type", "error"}};
  if (!keepUntilOptOutIsKnown(entry)) makeTelemetryRequest(std::move(entry));
}

// False when the report is to be sent now.
bool KITelemetry::keepUntilOptOutIsKnown(const MutableDictionary& entry) {
  const MutexLock lock(mutex_);
  if (optOutStatus_ == OptOutStatus::OptedIn) return false;
  if (optOutStatus_ == OptOutStatus::OptedOut || cache_.size() >= kMostCachedReports) return true;
  const Value report{Dictionary(entry)};
  const bool isKept = std::any_of(cache_.begin(), cache_.end(),
                                  [&report](const Dictionary& cached) { return Value(cached) == report; });
  if (!isKept) cache_.push_back(report.dictionary());
  return true;
}

void KITelemetry::notifyEmptyPOSTRequestBody() {
  const NSDate now = getCurrentDate();
  if (!lastTimeSinceEmptyBodyRequestBatch_ ||
      now.timeIntervalSince(*lastTimeSinceEmptyBodyRequestBatch_) > kEmptyBodyPeriod) {
    lastTimeSinceEmptyBodyRequestBatch_ = now;
    emptyBodyRequestCount_ = 0;
  } else if (emptyBodyRequestCount_ >= kEmptyBodyReportsPerPeriod) {
    return;
  }
  ++emptyBodyRequestCount_;
  makeTelemetryRequest(MutableDictionary{
      {"custom_message", "Empty request body"}, {"event_type", "empty request body"}, {"log_type", "info"}});
}

void KITelemetry::makeTelemetryRequest(MutableDictionary entry) {
  entry.merge(buildTelemetryMetadata());
  const auto body = NSJSONSerialization::dataWithJSONObject(
      Dictionary{{"telemetry_logs", Array{Dictionary(std::move(entry))}}});
  if (body) makeTelemetryRequest(*body);
}

void KITelemetry::makeTelemetryRequest(const std::string& body) {
  const auto base = endpoint();
  const auto url = base ? NSURL::create("api/mobile_telemetry", *base) : std::nullopt;
  if (!url) return;
  NSURLSession(sessionConfiguration()).dataTask(kova::postingJSON(NSURLRequest(*url), body))->resume();
}
