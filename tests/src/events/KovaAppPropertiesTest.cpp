#include "src/events/KovaAppProperties.h"

#include <gtest/gtest.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/uikit/UIDevice.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

constexpr const char* kVendorId = "0F0E0D0C-0B0A-0908-0706-050403020100";
constexpr const char* kAdvertiserId = "11111111-2222-3333-4444-555555555555";

class KovaAppPropertiesTest : public testing::Test {
 protected:
  static std::string json(const Dictionary& dictionary) {
    return NSJSONSerialization::dataWithJSONObject(dictionary).value();
  }

  SimulatedDevice device;
  KovaOptions options;
};

TEST_F(KovaAppPropertiesTest, GathersFactsAndEncodesThemInTheFragmentAlone) {
  device.setSystemVersion("17.2.1");
  UIDevice::Facts facts = UIDevice::currentDevice().facts();
  facts.advertisingIdentifier = kAdvertiserId;
  UIDevice::currentDevice().setFacts(facts);

  const KovaAppProperties properties(options);
  EXPECT_EQ(properties.libraryVersion(), "9.0.0");
  EXPECT_EQ(properties.trackerVersion(), "3.0");
  EXPECT_EQ(properties.vendorId(), kVendorId);
  EXPECT_EQ(properties.advertiserId(), kAdvertiserId);
  EXPECT_EQ(json(properties.applicationInfo()),
            R"({"appName":"Example App","appVersion":"1.0","libraryVersion":"9.0.0"})");
  EXPECT_EQ(json(properties.deviceInfo()),
            R"({"carrier":"T & T","phoneModel":"iPhone15,2","platform":"iOS 17.2.1",)"
            R"("iosVendorId":"0F0E0D0C-0B0A-0908-0706-050403020100",)"
            R"("iosAdvertiserId":"11111111-2222-3333-4444-555555555555"})");
  EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(),
            "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.2.1"
            "&vid=0F0E0D0C-0B0A-0908-0706-050403020100&aid=11111111-2222-3333-4444-555555555555");
}

TEST_F(KovaAppPropertiesTest, TakesEmptyTextsForMissingFacts) {
  device.setBundleFacts({{"CFBundleShortVersionString", 7}});
  UIDevice::currentDevice().setFacts({});
  const KovaAppProperties properties(options);
  EXPECT_EQ(json(properties.applicationInfo()), R"({"appName":"","appVersion":"","libraryVersion":"9.0.0"})");
  EXPECT_EQ(json(properties.deviceInfo()), R"({"carrier":"","phoneModel":"","platform":"iOS 17.0"})");
  EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(), "&m=&p=&g=&o=&f=iOS%2017.0");
  EXPECT_FALSE(properties.vendorId());
}

TEST_F(KovaAppPropertiesTest, LeavesOutIdsThatAreSwitchedOff) {
  UIDevice::Facts facts = UIDevice::currentDevice().facts();
  facts.advertisingIdentifier = kAdvertiserId;
  UIDevice::currentDevice().setFacts(facts);
  const std::string fragment = "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.0";
  for (const bool withoutVendor : {false, true}) {
    for (const bool withoutAdvertiser : {false, true}) {
      options.setDisableVendorIdCapture(withoutVendor);
      options.setDisableAdvertiserIdCapture(withoutAdvertiser);
      const KovaAppProperties properties(options);
      EXPECT_EQ(properties.ampersandPrefixedApplicationAndDeviceInfo(),
                fragment + (withoutVendor ? "" : std::string("&vid=") + kVendorId) +
                    (withoutAdvertiser ? "" : std::string("&aid=") + kAdvertiserId));
      EXPECT_EQ(properties.deviceInfo().find("iosVendorId") == nullptr, withoutVendor);
      EXPECT_EQ(properties.deviceInfo().find("iosAdvertiserId") == nullptr, withoutAdvertiser);
    }
  }
}

}  // namespace
