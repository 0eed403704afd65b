#include "tests/src/road/RoadTest.h"

using namespace platform;
using testing::ElementsAre;

namespace {

using FailureTest = RoadTest;

std::string once(const std::string& mode, const std::string& endpoint) {
  return R"({"mode":")" + mode + R"(","times":1,"endpoint":")" + endpoint + R"("})";
}

// The answers after which the library cannot know whether a request was delivered.
class LostAnswerTest : public RoadTest, public testing::WithParamInterface<std::string> {};

TEST_P(LostAnswerTest, IsSentAgainUntilTheAnswerArrivesAndNotAfterwards) {
  RoadHost host = launch();
  service.behave(once(GetParam(), "track"));
  host.call("track", {"Twice"});
  host.call("changeInterval", {kBriefly});
  const auto messages = service.messages(2);
  EXPECT_EQ(json(messages[0]), json(messages[1]));
  EXPECT_THAT(membersOf(service.records("track"), "answered"), ElementsAre(GetParam(), "200"));

  service.behave(once(GetParam(), "user-properties"));
  host.call("addUserProperties", {{{"colour", "green"}}});
  host.call("addUserProperties", {{{"colour", "blue"}}});
  const auto pixels = service.records("user-properties", 3);
  EXPECT_THAT(parameters(pixels, "_colour"), ElementsAre("green", "green", "blue"));
  EXPECT_EQ(json(*pixels[0].find("params")), json(*pixels[1].find("params")));
  EXPECT_THAT(membersOf(pixels, "answered"), ElementsAre(GetParam(), "200", "200"));

  flush(host);
  host.exit();
  EXPECT_TRUE(messagesAfterRelaunch().empty());
  EXPECT_EQ(parameters(service.records("user-properties"), "_colour").size(), 3u);
}

INSTANTIATE_TEST_SUITE_P(, LostAnswerTest, testing::Values("reset", "reset-mid-body"),
                         [](const auto& mode) { return mode.param == "reset" ? "Reset" : "ResetInMidBody"; });

TEST_F(FailureTest, AServiceThatStaysSilentEndsInATimeoutAndIsAskedAgain) {
  RoadHost host = launch();
  service.behave(once("silent", "track"));
  host.call("track", {"Twice"});
  host.call("changeInterval", {kBriefly});
  host.waitForLog("Connection failed! Error - The request timed out.");
  EXPECT_THAT(namesOf(service.messages(2)), ElementsAre("Twice", "Twice"));
  EXPECT_THAT(membersOf(service.records("track"), "answered"), ElementsAre("silent", "200"));
}

TEST_F(FailureTest, WhatNobodyTookArrivesWhenTheServiceIsBack) {
  service.stop();
  RoadHost host = launch();
  host.call("track", {"Patient"});
  host.call("changeInterval", {kBriefly});
  host.waitForLog("Connection failed! Error - Could not connect to the server.");
  service.resume();
  EXPECT_THAT(namesOf(service.messages(1)), ElementsAre("Patient"));
  EXPECT_EQ(service.records("h", 1).size(), 1u);
}

}  // namespace
