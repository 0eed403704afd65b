#include "tests/src/road/RoadTest.h"

using namespace platform;

namespace {

using LimitsTest = RoadTest;

TEST_F(LimitsTest, OfMessagesBeforeTheFirstPageviewTheYoungestAreKept) {
  RoadHost host = launch({.hasPageview = false});
  std::vector<std::string> names;
  for (int i = 0; i < 350; ++i) host.call("track", {names.emplace_back(std::to_string(i))});
  host.call("background");
  host.exit();
  EXPECT_EQ(namesOf(messagesAfterRelaunch()), std::vector<std::string>(names.begin() + 50, names.end()));
}

}  // namespace
