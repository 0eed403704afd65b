#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Value.h"

class KovaOptions;

// The facts about the app, the device and the library that every message, every pixel URL and the telemetry
// carry. Gathered once, at construction, on the main thread; immutable afterwards, so any thread may read. A
// carrier or system that changes during a run shows at the next initialisation.
class KovaAppProperties {
 public:
  explicit KovaAppProperties(const KovaOptions& options);

  // The name of the cellular provider, and the hardware's model, as the device states them.
  static std::optional<std::string> carrierFromCoreTelephony();
  static std::optional<std::string> deviceModelFromSysctl();

  const std::string& libraryVersion() const { return libraryVersion_; }
  const std::string& trackerVersion() const { return trackerVersion_; }
  // The four below are empty when unknown.
  const std::string& appName() const { return appName_; }
  const std::string& appVersion() const { return appVersion_; }
  const std::string& carrier() const { return carrier_; }
  const std::string& phoneModel() const { return phoneModel_; }
  // "iOS 17.0"
  const std::string& platform() const { return platform_; }
  // Upper-case UUID texts; none when unavailable or switched off.
  const std::optional<std::string>& vendorId() const { return vendorId_; }
  const std::optional<std::string>& advertiserId() const { return advertiserId_; }

  // The message entries "applicationInfo" and "deviceInfo".
  const platform::Dictionary& applicationInfo() const { return applicationInfo_; }
  const platform::Dictionary& deviceInfo() const { return deviceInfo_; }
  // The same facts as query parameters, encoded, each with a "&" before it.
  const std::string& ampersandPrefixedApplicationAndDeviceInfo() const {
    return ampersandPrefixedApplicationAndDeviceInfo_;
  }

 private:
  std::string libraryVersion_;
  std::string trackerVersion_;
  std::string appName_;
  std::string appVersion_;
  std::string carrier_;
  std::string phoneModel_;
  std::string platform_;
  std::optional<std::string> vendorId_;
  std::optional<std::string> advertiserId_;
  platform::Dictionary deviceInfo_;
  platform::Dictionary applicationInfo_;
  std::string ampersandPrefixedApplicationAndDeviceInfo_;
};
