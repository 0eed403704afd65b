#include <regex>

#include "tests/src/road/RoadTest.h"

using namespace platform;
using testing::ElementsAre;

namespace {

// What the messages of the host are made of.
constexpr const char* kHead =
    R"({"id":"#id","envId":"12345","user":{"id":"#user"},"timestamp":"#time",)"
    R"("applicationInfo":{"appName":"Road & Rail","appVersion":"1.0","libraryVersion":"9.0.0"},)"
    R"("deviceInfo":{"carrier":"T & T","phoneModel":"box,1","platform":"iOS 17.0",)"
    R"("iosVendorId":"0F0E0D0C-0B0A-0908-0706-050403020100"})";
constexpr const char* kPageviewAndSession =
    R"(,"pageviewInfo":{"viewController":"","title":"","screenA11yId":"","screenA11yLabel":"",)"
    R"("timestamp":"#time","id":"#pageview"},"sessionInfo":{"id":"#session","timestamp":"#time"})";
constexpr const char* kProperties = R"(,"properties":{"theme":{"string":"dark"},"beta":{"bool":true}})";
// What a pageview tells of app and device.
constexpr const char* kAppAndDevice =
    R"(,["m","Road & Rail"],["p","1.0"],["g","T & T"],["o","box,1"],["f","iOS 17.0"],)"
    R"(["vid","0F0E0D0C-0B0A-0908-0706-050403020100"])";
// What every pixel begins with.
constexpr const char* kBase =
    R"([["a","12345"],["s","#session"],["b","ios"],["tv","3.0"],["lv","9.0.0"],["u","#user"])";

class RecordsTest : public RoadTest {
 protected:
  // The JSON text, with a name in the place of each id and time that differs from run to run.
  std::string named(const Value& value) const {
    std::string text = json(value);
    for (const auto& [what, name] : names_) {
      text = std::regex_replace(text, std::regex("\"" + what + "\""), "\"" + name + "\"");
    }
    text = std::regex_replace(text, std::regex(R"("\d{16}")"), R"("#id")");
    return std::regex_replace(text, std::regex(R"("\d{13}")"), R"("#time")");
  }
  void name(const std::string& what, const std::string& name) { names_.emplace_back(what, name); }

 private:
  std::vector<std::pair<std::string, std::string>> names_;
};

TEST_F(RecordsTest, EveryKindOfEventAndPixelIsStoredAsItWasRecorded) {
  RoadHost host = launch({.version = "1.0"});
  name(std::string(host.call("userId").text()), "#user");
  name(std::string(host.call("sessionId").text()), "#session");
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
  name(parameters(pageviews, "v")[0], "#pageview");
  name(parameters(pageviews, "v")[1], "#second");
  ASSERT_EQ(pageviews.size(), 2u);
  EXPECT_EQ(
      named(*pageviews[0].find("params")),
      std::string(kBase) + kAppAndDevice +
          R"(,["z","0"],["ts","#time"],["v","#pageview"],["h",""],["t",""],["d",""],["y",""],["st","#time"]])");
  // The session's first pageview, and the event properties, are still encoded once.
  EXPECT_EQ(
      named(*pageviews[1].find("params")),
      std::string(kBase) + kAppAndDevice +
          R"(,["z","2"],["ts","#time"],["v","#second"],["h",""],["t",""],["d",""],["y",""],)"
          R"(["sp","m"],["sp","Road%20%26%20Rail"],["sp","p"],["sp","1.0"],["sp","g"],["sp","T%20%26%20T"],)"
          R"(["sp","o"],["sp","box%2C1"],["sp","f"],["sp","iOS%2017.0"],)"
          R"(["sp","vid"],["sp","0F0E0D0C-0B0A-0908-0706-050403020100"],["sp","ts"],["sp","#time"],)"
          R"(["sp","h"],["sp",""],["sp","t"],["sp",""],["sp","d"],["sp",""],["sp","y"],["sp",""],)"
          R"(["k","theme"],["k","dark"],["k","beta"],["k","1"],["st","#time"]])");

  const auto userProperties = service.records("user-properties", 1);
  ASSERT_EQ(userProperties.size(), 1u);
  EXPECT_EQ(
      named(*userProperties[0].find("params")),
      std::string(kBase) +
          R"(,["v","#pageview"],["_favourite colour","grün & blau"],["_newsletter","0"],["st","#time"]])");

  const auto identifies = service.records("identify", 1);
  ASSERT_EQ(identifies.size(), 1u);
  EXPECT_EQ(named(*identifies[0].find("params")),
            std::string(kBase) + R"(,["i","ann lee@example.com"],["v","#second"],["st","#time"]])");

  const auto messages = service.messages(4);
  ASSERT_EQ(messages.size(), 4u);
  // Built before the pageview, which was given to it afterwards.
  EXPECT_EQ(
      named(messages[0]),
      std::string(kHead) +
          R"(,"event":{"lifecycleEvent":{"previousVersionCode":"<null>","previousBuildType":"<null>",)"
          R"("currentVersionCode":"1.0","currentBuildType":"7","isUpgrade":false},"appVisibilityState":0})" +
          kPageviewAndSession + "}");
  const std::string head = std::string(kHead) + kPageviewAndSession + kProperties;
  EXPECT_EQ(
      named(messages[1]),
      head +
          R"(,"event":{"customEvent":{"type":"Check \"out\" é","customProperties":{"plan":{"string":"pro"},)"
          R"("trial":{"bool":true},"seats":{"string":"3"},"price":{"string":"2.5"}}},"appVisibilityState":2}})");
  EXPECT_EQ(named(messages[2]),
            head + R"(,"event":{"sourceEvent":{"type":"tap","source":"wrapper",)"
                   R"("sourceProperties":{"component":{"string":"<Button>"}}},"appVisibilityState":2}})");
  EXPECT_EQ(
      named(messages[3]),
      head +
          R"(,"event":{"sourceCustomEvent":{"type":"Signed up","source":"wrapper",)"
          R"("sourceProperties":{"major":{"string":"2"}},"customProperties":{"from":{"string":"ad & banner"}}},)"
          R"("appVisibilityState":2}})");

  const std::string seen = parameters(pageviews, "ts")[0];
  for (const Dictionary& message : messages) {
    EXPECT_EQ(textAt(message.find("pageviewInfo")->dictionary(), "timestamp"), seen);
    EXPECT_EQ(textAt(message.find("sessionInfo")->dictionary(), "timestamp"), seen);
  }
}

TEST_F(RecordsTest, FiftyPixelsInAChainUseOneConnection) {
  RoadHost host = launch();
  for (int i = 0; i < 50; ++i) host.call("addUserProperties", {{{"n", i}}});
  host.call("changeInterval", {15});

  const auto pixels = service.records("", 50);
  EXPECT_EQ(parameters(pixels, "_n"), numbers(0, 50));
  EXPECT_THAT(membersOf(pixels, "connection"), testing::Each(textAt(pixels[0], "connection")));
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
