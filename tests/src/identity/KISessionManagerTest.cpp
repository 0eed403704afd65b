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
  struct Case {
    bool isNewUser;
    std::vector<Step> steps;
    std::int64_t zParam;
  };
  const Case cases[] = {
      {true, {}, 0},
      {false, {}, 1},
      {true, {View}, 2},
      {false, {View}, 2},
      // A new user without a pageview stays new.
      {true, {NewSession}, 0},
      {false, {NewSession}, 1},
      {true, {View, NewSession}, 1},
      {true, {View, NewSession, NewSession}, 1},
      {true, {View, NewUser}, 0},
      {false, {NewUser}, 0},
      {false, {NewUser, NewSession, View}, 2},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    KISessionManager session(cases[i].isNewUser);
    for (const Step step : cases[i].steps) {
      if (step == View) {
        session.loggedPageviewWithPageviewInfo(kHome, {});
      } else {
        session.resetSessionWithNewUser(step == NewUser);
      }
    }
    EXPECT_EQ(session.zParam(), cases[i].zParam) << "case " << i;
    EXPECT_EQ(session.hasLoggedAnyPageviews(), cases[i].zParam == 2) << "case " << i;
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
