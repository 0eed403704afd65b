#include "src/events/KovaAppProperties.h"

#include <Kova/KovaConstants.h>
#include <Kova/KovaOptions.h>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSBundle.h"
#include "platform/uikit/UIDevice.h"
#include "src/core/URLEncoding.h"

using namespace platform;

KovaAppProperties::KovaAppProperties(const KovaOptions& options)
    : libraryVersion_(KovaLibraryVersion), trackerVersion_(KovaTrackerVersion) {
  const NSBundle& bundle = NSBundle::mainBundle();
  const UIDevice& device = UIDevice::currentDevice();
  appName_ = bundle.stringForInfoDictionaryKey("CFBundleName").value_or("");
  appVersion_ = bundle.stringForInfoDictionaryKey("CFBundleShortVersionString").value_or("");
  carrier_ = carrierFromCoreTelephony().value_or("");
  phoneModel_ = deviceModelFromSysctl().value_or("");
  platform_ = "iOS " + device.systemVersion();
  if (!options.disableVendorIdCapture()) vendorId_ = device.facts().identifierForVendor;
  if (!options.disableAdvertiserIdCapture()) advertiserId_ = device.facts().advertisingIdentifier;

  ampersandPrefixedApplicationAndDeviceInfo_ =
      formatted("&m=%@&p=%@&g=%@&o=%@&f=%@", kova::urlEncode(appName_), kova::urlEncode(appVersion_),
                kova::urlEncode(carrier_), kova::urlEncode(phoneModel_), kova::urlEncode(platform_));
  applicationInfo_ = {
      {"appName", appName_}, {"appVersion", appVersion_}, {"libraryVersion", libraryVersion_}};
  MutableDictionary deviceInfo{{"carrier", carrier_}, {"phoneModel", phoneModel_}, {"platform", platform_}};
  if (vendorId_) {
    ampersandPrefixedApplicationAndDeviceInfo_ += "&vid=" + kova::urlEncode(*vendorId_);
    deviceInfo.set("iosVendorId", *vendorId_);
  }
  if (advertiserId_) {
    ampersandPrefixedApplicationAndDeviceInfo_ += "&aid=" + kova::urlEncode(*advertiserId_);
    deviceInfo.set("iosAdvertiserId", *advertiserId_);
  }
  deviceInfo_ = Dictionary(std::move(deviceInfo));
}

std::optional<std::string> KovaAppProperties::carrierFromCoreTelephony() {
  return UIDevice::currentDevice().facts().carrierName;
}

std::optional<std::string> KovaAppProperties::deviceModelFromSysctl() {
  const std::string& machine = UIDevice::currentDevice().facts().machine;
  return machine.empty() ? std::nullopt : std::optional(machine);
}
