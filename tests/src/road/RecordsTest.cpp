#include "tests/src/road/RoadTest.h"

using namespace platform;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using RecordsTest = RoadTest;

TEST_F(RecordsTest, EveryKindOfEventAndPixelIsStoredAsItWasRecorded) {
  RoadHost host = launch({.version = "1.0"});
  const std::string user(host.call("userId").text());
  const std::string session(host.call("sessionId").text());
  host.call("addEventProperties", {{{"theme", "dark"}, {"beta", true}}});
  host.call("track", {"Check \"out\" é", {{"plan", "pro"}, {"trial", true}, {"seats", 3}, {"price", 2.5}}});
  host.call("frameworkAutocaptureEvent", {"tap", "wrapper", {{"component", "<Button>"}}});
  host.call("frameworkTrack", {"Signed up", {{"from", "ad & banner"}}, "wrapper", {{"major", 2}}});
  host.call("addUserProperties", {{{"favourite colour", "grün & blau"}, {"newsletter", false}}});
  host.call("background");
  host.call("foreground");
  host.call("identify", {"ann lee@example.com"});
  host.call("changeInterval", {kBriefly});

  const auto pageviews = service.records("h", 2);
  EXPECT_THAT(parameters(pageviews, "z"), ElementsAre("0", "2"));
  EXPECT_THAT(parameters(pageviews, "m"), Each("Road & Rail"));
  const std::string second = json(*pageviews.at(1).find("params"));
  EXPECT_THAT(second, HasSubstr(R"(["sp","m"],["sp","Road%20%26%20Rail"])")) << "of the session's first";
  EXPECT_THAT(second, HasSubstr(R"(["k","theme"],["k","dark"],["k","beta"],["k","1"],["st",)"));
  EXPECT_THAT(json(*service.records("user-properties", 1).at(0).find("params")),
              HasSubstr(R"(["_favourite colour","grün & blau"],["_newsletter","0"])"));
  EXPECT_THAT(parameters(service.records("identify", 1), "i"), ElementsAre("ann lee@example.com"));

  const auto messages = service.messages(4);
  EXPECT_THAT(namesOf(messages), ElementsAre("lifecycleEvent", "Check \"out\" é", "tap", "Signed up"));
  EXPECT_THAT(json(messages.at(1)),
              HasSubstr(R"("customProperties":{"plan":{"string":"pro"},"trial":{"bool":true},)"
                        R"("seats":{"string":"3"},"price":{"string":"2.5"}}},"appVisibilityState":2})"));
  for (const Dictionary& message : messages) {
    EXPECT_EQ(json(*message.find("user")), R"({"id":")" + user + R"("})");
    EXPECT_EQ(textAt(message.find("sessionInfo")->dictionary(), "id"), session);
    const Dictionary& pageview = message.find("pageviewInfo")->dictionary();
    EXPECT_EQ(textAt(pageview, "id"), parameters(pageviews, "v")[0]) << "also of what came before it";
    EXPECT_EQ(textAt(pageview, "timestamp"), parameters(pageviews, "ts")[0]);
    if (&message == &messages[0]) continue;
    EXPECT_EQ(json(*message.find("properties")), R"({"theme":{"string":"dark"},"beta":{"bool":true}})");
  }
}

TEST_F(RecordsTest, AFailureInsideTheLibraryIsReportedAndEndsItButNotTheHost) {
  {
    RoadHost host = launch({.version = "1.0", .isOnline = false});
    host.call("track", {"Before"});
    host.call("background");
    host.call("explode");
    host.call("track", {"After"});
    host.call("background");
    const auto reports = service.records("telemetry", 1);
    const Dictionary log = reports[0].find("log")->dictionary();
    EXPECT_EQ(textAt(log, "custom_message"), "std::runtime_error: touched");
    EXPECT_EQ(textAt(log, "source"), "Kova/track:withProperties:");
    EXPECT_EQ(json(*log.find("app_metadata")),
              R"({"app_identifier":"Road & Rail","version_string":"1.0","env_id":"12345"})");
    EXPECT_EQ(host.call("userId"), Value(""));
    host.exit();
  }
  EXPECT_THAT(namesOf(messagesAfterRelaunch()), ElementsAre("lifecycleEvent", "Before"));
  EXPECT_EQ(service.records("telemetry").size(), 1u);
}

}  // namespace
