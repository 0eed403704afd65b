#include "src/autocapture/KovaUtil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

TEST(KovaUtil, MakesRandomIdsOf53BitsIn16Digits) {
  std::set<std::string> ids;
  for (int i = 0; i < 4000; ++i) ids.insert(KovaUtil::randomId());
  EXPECT_EQ(ids.size(), 4000u);
  EXPECT_THAT(ids, testing::Each(testing::MatchesRegex("[0-9]{16}")));
  // Padded, never beyond 2^53 - 1, and with the highest bit in use: that one of these fails by chance is
  // unthinkable.
  EXPECT_EQ(ids.begin()->front(), '0');
  EXPECT_LE(*ids.rbegin(), "9007199254740991");
  EXPECT_GT(*ids.rbegin(), "8900000000000000");
}

TEST(KovaUtil, RoundsTimesToWholeMilliseconds) {
  const std::pair<double, const char*> times[] = {
      {0.0004, "0"},  {1767225600.1236, "1767225600124"}, {4102444799.9996, "4102444800000"}, {-1.5, "-1500"},
      {0.0625, "62"},  // halves go to the even neighbour
      {0.1875, "188"}};
  for (const auto& [seconds, text] : times)
    EXPECT_EQ(KovaUtil::epochStringForDate(NSDate::withTimeIntervalSince1970(seconds)), text);
  SimulatedDevice device;
  device.advance(0.5);
  EXPECT_EQ(KovaUtil::epochString(), "1767225600500");
}

TEST(KovaUtil, TellsWhetherTheAppIsInTheBackgroundAndWarnsOffTheMainThread) {
  SimulatedDevice device;
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  const auto state = [] { return KovaUtil::appVisibilityState("a:test:"); };
  EXPECT_EQ(state(), 2);
  device.application->becomeInactive();
  EXPECT_EQ(state(), 2);
  device.application->enterBackground();
  EXPECT_EQ(state(), 1);
  KovaUtil::setAppVisibilityStateOverride(2);
  EXPECT_EQ(state(), 2);
  KovaUtil::setAppVisibilityStateOverride(std::nullopt);
  EXPECT_EQ(state(), 1);
  UIApplication::setSharedApplication(nullptr);
  EXPECT_EQ(state(), 2);
  KovaUtil::setAppVisibilityStateOverride(1);
  EXPECT_EQ(state(), 1);
  EXPECT_TRUE(device.log().empty());
  KOVA_serialStateQueue()->addOperationWithBlock([&] { EXPECT_EQ(state(), 1); });
  device.drain();
  EXPECT_THAT(
      device.log(),
      testing::ElementsAre("[KOVA DEBUG]: WARNING - a:test: was called on a background thread. Unpredictable "
                           "behavior may occur."));
}

TEST(KovaUtil, TellsTheTimeSinceASelectorsLastUse) {
  SimulatedDevice device;
  EXPECT_GT(KovaUtil::timeSinceLastSelector("tap"), 1e9);
  KovaUtil::updateTimeForSelector("tap");
  EXPECT_EQ(KovaUtil::timeSinceLastSelector("tap"), 0);
  device.scheduler.setWallClock(NSDate());
  for (const double seconds : {0.2, 0.001, 2.299}) device.advance(seconds);
  EXPECT_EQ(KovaUtil::timeSinceLastSelector("tap"), 2.5) << "the clock on the wall does not matter";
  EXPECT_GT(KovaUtil::timeSinceLastSelector("swipe"), 1e9);
  KovaUtil::updateTimeForSelector("tap");
  EXPECT_EQ(KovaUtil::timeSinceLastSelector("tap"), 0);
}

}  // namespace
