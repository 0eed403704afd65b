#include "src/identity/KISessionManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace platform;

namespace {

const Dictionary kHome{{"id", "1"}, {"viewController", "Home"}};
const Dictionary kCart{{"id", "2"}, {"viewController", "Cart"}};

TEST(KISessionManager, TellsNewUsersAndSessionsWithPageviewsApart) {
  enum class Step { View, NewSession, NewUser };
  using enum Step;
  const struct {
    bool isNewUser;
    std::vector<Step> steps;
    std::int64_t zParam;
  } cases[] = {{true, {}, 0},
               {false, {}, 1},
               {false, {View}, 2},
               {true, {NewSession}, 0},  // a new user without a pageview stays new
               {false, {NewSession}, 1},
               {true, {View, NewSession, NewSession}, 1},
               {true, {View, NewUser}, 0},
               {false, {NewUser}, 0}};
  for (const auto& [isNewUser, steps, zParam] : cases) {
    SCOPED_TRACE(std::to_string(steps.size()) + " steps to " + std::to_string(zParam));
    KISessionManager session(isNewUser);
    for (const Step step : steps) {
      if (step == View) {
        session.loggedPageviewWithPageviewInfo(kHome, {});
      } else {
        session.resetSessionWithNewUser(step == NewUser);
      }
    }
    EXPECT_EQ(session.zParam(), zParam);
    EXPECT_EQ(session.hasLoggedAnyPageviews(), zParam == 2);
  }
}

TEST(KISessionManager, RemembersTheFirstPixelPropertiesAndTheLatestPageviewOfASession) {
  KISessionManager session(true);
  const auto expectNothing = [&session] {
    EXPECT_THAT(session.sessionId(), testing::MatchesRegex("[0-9]{16}"));
    EXPECT_FALSE(session.sessionInfo());
    EXPECT_FALSE(session.sessionPixelProperties());
    EXPECT_FALSE(session.mostRecentPageviewInfo());
  };
  expectNothing();
  EXPECT_TRUE(session.loggedPageviewWithPageviewInfo(kHome, {{"ts", "100"}, {"h", "Home"}}));
  EXPECT_FALSE(session.loggedPageviewWithPageviewInfo(kCart, {{"ts", "200"}, {"h", "Cart"}}));
  EXPECT_EQ(Value(*session.sessionPixelProperties()), (Value{{"ts", "100"}, {"h", "Home"}}));
  EXPECT_EQ(Value(*session.mostRecentPageviewInfo()), Value(kCart));
  EXPECT_EQ(Value(*session.sessionInfo()), (Value{{"id", session.sessionId()}, {"timestamp", "100"}}));

  const std::string before = session.sessionId();
  session.resetSessionWithNewUser(false);
  EXPECT_NE(session.sessionId(), before);
  expectNothing();
  EXPECT_TRUE(session.loggedPageviewWithPageviewInfo(kCart, {{"h", "Cart"}}));
  EXPECT_EQ(Value(*session.sessionInfo()), (Value{{"id", session.sessionId()}, {"timestamp", ""}}));
}

}  // namespace
