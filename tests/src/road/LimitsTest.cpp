#include "tests/src/road/RoadTest.h"

using namespace platform;

namespace {

// How many wait for the first pageview; 50 more are recorded.
constexpr int kMessages = 300;

using LimitsTest = RoadTest;

TEST_F(LimitsTest, OfMessagesBeforeTheFirstPageviewTheYoungestAreKept) {
  RoadHost host = launch({.hasPageview = false});
  for (int i = 0; i < kMessages + 50; ++i) host.call("track", {std::to_string(i)});
  host.call("background");
  host.exit();
  EXPECT_EQ(namesOf(messagesAfterRelaunch()), numbers(50, kMessages));
}

}  // namespace
