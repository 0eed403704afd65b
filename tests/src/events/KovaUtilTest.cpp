#include "src/autocapture/KovaUtil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
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
  const std::pair<std::function<void()>, int> steps[] = {
      {[] {}, 2},
      {[&] { device.application->becomeInactive(); }, 2},
      {[&] { device.application->enterBackground(); }, 1},
      {[] { KovaUtil::setAppVisibilityStateOverride(2); }, 2},
      {[] { KovaUtil::setAppVisibilityStateOverride(std::nullopt); }, 1},
      {[] { UIApplication::setSharedApplication(nullptr); }, 2},
      {[] { KovaUtil::setAppVisibilityStateOverride(1); }, 1}};
  for (const auto& each : steps) {
    each.first();
    EXPECT_EQ(state(), each.second) << "after step " << &each - steps;
  }
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

TEST(KovaUtil, EncodesExactlyThirtySixCharactersOfAnyValueAndDecodesText) {
  EXPECT_EQ(KovaUtil::urlEncode("!*'();:@&=+$,/?%|#[]"),
            "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%7C%23%5B%5D");
  EXPECT_EQ(KovaUtil::urlEncode("\" <>\\^`{}\t\n\r\b\a\f\v"),
            "%22%20%3C%3E%5C%5E%60%7B%7D%09%0A%0D%08%07%0C%0B");
  std::size_t changed = 0;
  for (char c = 0; c >= 0 && c < 127; ++c)
    changed += KovaUtil::urlEncode(std::string(1, c)) != std::string(1, c);
  EXPECT_EQ(changed, 36u);
  const std::string passes("AZaz09-_.~\0\x01\x1F\x7Fé漢😀", 23);
  EXPECT_EQ(KovaUtil::urlEncode(passes), passes);

  EXPECT_EQ(KovaUtil::urlEncode(3), "3");
  EXPECT_EQ(KovaUtil::urlEncode(2.5), "2.5");
  EXPECT_EQ(KovaUtil::urlEncode(true), "1");
  EXPECT_EQ(KovaUtil::urlEncode(std::nullopt), "%28null%29");
  EXPECT_EQ(KovaUtil::urlEncode(Value(nullptr)), "%3Cnull%3E");
  EXPECT_EQ(KovaUtil::urlEncode(Array{1}), "%28%0A%20%20%20%201%0A%29");
  EXPECT_EQ(KovaUtil::urlEncode(""), "");

  EXPECT_EQ(KovaUtil::urlDecode("a%20b+%C3%A9é"), "a b+éé");
  EXPECT_EQ(KovaUtil::urlDecode("50%"), "");
  EXPECT_EQ(KovaUtil::urlDecode("%FF"), "");
}

}  // namespace
