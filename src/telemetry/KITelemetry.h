#pragma once

#include <Kova/KovaBaseURL.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/runtime/Mutex.h"

// Reports the library's own health, not the app's analytics: chiefly that it caught an exception and disabled
// itself. Each report is one small JSON document, posted to the capture host and forgotten: no answer is
// awaited, nothing is tried again.
//
// Reports made before the app's opt-out choice is known are held back, and sent or kept for ever once it is.
// One shared instance, never destroyed. Any thread; metadata and base URL are set once, at the tracker's
// start.
class KITelemetry {
 public:
  enum class OptOutStatus { Unknown = 0, OptedOut = 1, OptedIn = 2 };

  static KITelemetry& sharedTelemetry();

  // No base URL selects the default capture endpoint; with one that cannot be used, nothing is sent.
  std::optional<platform::NSURL> baseUrl() const;
  void setBaseUrl(KovaBaseURL baseUrl);
  void setFollowsEnvironmentProxy(bool follows);

  // Opting in sends what was held back.
  void setOptOutStatus(bool optOut);
  OptOutStatus optOutStatus() const;

  void setMetadataForApp(platform::Dictionary app, platform::Dictionary device, platform::Dictionary sdk);
  // The entries "sdk_metadata", "device_metadata" and "app_metadata" of a report: a fallback while any of the
  // three has not been set.
  platform::Dictionary buildTelemetryMetadata() const;

  // `source` names the place where the exception was caught.
  void notifyBailedWithException(const platform::NSException& exception, std::string_view source);

  // Reports that a POST was about to go out with an empty body: at most 10 times in 60 s, whatever the
  // opt-out choice. Nothing in the library calls it at present.
  void notifyEmptyPOSTRequestBody();

 private:
  KITelemetry() = default;
  platform::NSDate getCurrentDate() const;
  bool keepUntilOptOutIsKnown(const platform::MutableDictionary& entry);
  void makeTelemetryRequest(platform::MutableDictionary entry);
  void makeTelemetryRequest(const std::string& body);
  std::optional<platform::NSURL> endpoint() const;
  platform::NSURLSessionConfiguration sessionConfiguration() const;

  // Covers the fields alone: a report is sent without it, since sending may itself fail and be reported.
  mutable platform::Mutex mutex_;
  OptOutStatus optOutStatus_ PLATFORM_GUARDED_BY(mutex_) = OptOutStatus::Unknown;
  std::vector<platform::Dictionary> cache_ PLATFORM_GUARDED_BY(mutex_);
  std::optional<platform::Dictionary> sdkMetadata_ PLATFORM_GUARDED_BY(mutex_);
  std::optional<platform::Dictionary> appMetadata_ PLATFORM_GUARDED_BY(mutex_);
  std::optional<platform::Dictionary> deviceMetadata_ PLATFORM_GUARDED_BY(mutex_);
  KovaBaseURL baseUrl_ PLATFORM_GUARDED_BY(mutex_);
  bool followsEnvironmentProxy_ PLATFORM_GUARDED_BY(mutex_) = false;

  std::optional<platform::NSDate> lastTimeSinceEmptyBodyRequestBatch_;
  std::int32_t emptyBodyRequestCount_ = 0;
};
