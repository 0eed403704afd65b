#include "src/events/KovaAppProperties.h"

#include <gtest/gtest.h>

#include "platform/uikit/UIDevice.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

TEST(KovaAppProperties, GathersFactsAndEncodesThemInTheFragmentAlone) {
  SimulatedDevice device;
  device.setSystemVersion("17.2.1");
  UIDevice::Facts facts = UIDevice::currentDevice().facts();
  facts.advertisingIdentifier = "1111-2222";
  UIDevice::currentDevice().setFacts(facts);
  for (const bool isVendorLeftOut : {false, true}) {
    KovaOptions options;
    options.setDisableVendorIdCapture(isVendorLeftOut);
    options.setDisableAdvertiserIdCapture(!isVendorLeftOut);
    const KovaAppProperties properties(options);
    EXPECT_EQ(json(properties.applicationInfo()),
              R"({"appName":"Example App","appVersion":"1.0","libraryVersion":"9.0.0"})");
    EXPECT_EQ(json(properties.deviceInfo()),
              std::string(R"({"carrier":"T & T","phoneModel":"iPhone15,2","platform":"iOS 17.2.1",)") +
                  (isVendorLeftOut ? R"("iosAdvertiserId":"1111-2222"})"
                                   : R"("iosVendorId":"0F0E0D0C-0B0A-0908-0706-050403020100"})"));
    EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(),
              std::string("&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.2.1") +
                  (isVendorLeftOut ? "&aid=1111-2222" : "&vid=0F0E0D0C-0B0A-0908-0706-050403020100"));
  }

  device.setBundleFacts({{"CFBundleShortVersionString", 7}});
  UIDevice::currentDevice().setFacts({});
  const KovaAppProperties missing{KovaOptions()};
  EXPECT_EQ(json(missing.applicationInfo()), R"({"appName":"","appVersion":"","libraryVersion":"9.0.0"})");
  EXPECT_EQ(json(missing.deviceInfo()), R"({"carrier":"","phoneModel":"","platform":"iOS 17.2.1"})");
  EXPECT_EQ(missing.ampersandPrefixedApplicationAndDeviceInfo(), "&m=&p=&g=&o=&f=iOS%2017.2.1");
}

}  // namespace
