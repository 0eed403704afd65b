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
  facts.advertisingIdentifier = "11111111-2222-3333-4444-555555555555";
  UIDevice::currentDevice().setFacts(facts);
  for (const bool withoutVendor : {false, true}) {
    for (const bool withoutAdvertiser : {false, true}) {
      KovaOptions options;
      options.setDisableVendorIdCapture(withoutVendor);
      options.setDisableAdvertiserIdCapture(withoutAdvertiser);
      const std::string vendor = withoutVendor ? "" : "0F0E0D0C-0B0A-0908-0706-050403020100";
      const std::string advertiser = withoutAdvertiser ? "" : "11111111-2222-3333-4444-555555555555";

      const KovaAppProperties properties(options);
      EXPECT_EQ(properties.libraryVersion(), "9.0.0");
      EXPECT_EQ(properties.trackerVersion(), "3.0");
      EXPECT_EQ(properties.vendorId().value_or(""), vendor);
      EXPECT_EQ(properties.advertiserId().value_or(""), advertiser);
      EXPECT_EQ(json(properties.applicationInfo()),
                R"({"appName":"Example App","appVersion":"1.0","libraryVersion":"9.0.0"})");
      EXPECT_EQ(json(properties.deviceInfo()),
                R"({"carrier":"T & T","phoneModel":"iPhone15,2","platform":"iOS 17.2.1")" +
                    (withoutVendor ? "" : R"(,"iosVendorId":")" + vendor + '"') +
                    (withoutAdvertiser ? "" : R"(,"iosAdvertiserId":")" + advertiser + '"') + "}");
      EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(),
                "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.2.1" +
                    (withoutVendor ? "" : "&vid=" + vendor) +
                    (withoutAdvertiser ? "" : "&aid=" + advertiser));
    }
  }
}

TEST(KovaAppProperties, TakesEmptyTextsForMissingFacts) {
  SimulatedDevice device;
  device.setBundleFacts({{"CFBundleShortVersionString", 7}});
  UIDevice::currentDevice().setFacts({});
  const KovaAppProperties properties{KovaOptions()};
  EXPECT_EQ(json(properties.applicationInfo()), R"({"appName":"","appVersion":"","libraryVersion":"9.0.0"})");
  EXPECT_EQ(json(properties.deviceInfo()), R"({"carrier":"","phoneModel":"","platform":"iOS 17.0"})");
  EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(), "&m=&p=&g=&o=&f=iOS%2017.0");
  EXPECT_FALSE(properties.vendorId());
}

}  // namespace
