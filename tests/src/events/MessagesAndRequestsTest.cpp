// What is sent: messages, and the URLs of pixels and batches.

#include <regex>

#include "src/core/KovaLogger.h"
#include "src/events/KIEvent.h"
#include "src/events/KovaURLString.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"
#include "tests/src/events/MessageFixture.h"

using namespace platform;
using testing::MatchesRegex;

namespace {

class Tap : public KIEvent {
 public:
  Tap() : KIEvent("touchEvent", 2) {}
  MutableDictionary mutableEventDictionary() const override { return {{"type", "touch"}}; }
};

class KovaMessageBuilderTest : public MessageTest {
 protected:
  // With "ID" in place of an id that was made up, which no text can foretell.
  static std::string textOf(MutableDictionary message) {
    EXPECT_THAT(std::string(message.find("id")->text()), MatchesRegex("[0-9]{16}"));
    message.set("id", "ID");
    return json(message);
  }
  // A message of the user, with app, device and what else is in it.
  static std::string golden(const std::string& user, const std::string& rest,
                            const std::string& time = SimulatedDevice::kStartTime) {
    return R"({"id":"ID","envId":"12345","user":)" + user + R"(,"timestamp":")" + time +
           R"(","applicationInfo":{"appName":"Example App","appVersion":"1.0","libraryVersion":"9.0.0"},)"
           R"("deviceInfo":{"carrier":"T & T","phoneModel":"iPhone15,2","platform":"iOS 17.0",)"
           R"("iosVendorId":"0F0E0D0C-0B0A-0908-0706-050403020100"},)" +
           rest + "}";
  }
  MutableDictionary customMessage(const std::optional<Dictionary>& pageviewInfo = std::nullopt) const {
    KIMoment moment = KIMoment::now();
    moment.pageviewInfo = pageviewInfo;
    return messages.mutableMessageWithEventDictionary(Dictionary{{"name", "Checkout"}}, "customEvent", 2,
                                                      moment);
  }
};

TEST_F(KovaMessageBuilderTest, WritesEachMessageWhole) {
  const std::string anonymous = R"({"id":"0000000000000042"})";
  const std::string checkout = R"("event":{"customEvent":{"name":"Checkout"},"appVisibilityState":2})";
  EXPECT_EQ(textOf(customMessage()), golden(anonymous, checkout)) << "what is missing is left out";

  KILifecycleEvent upgrade({"1.1", "2"}, {"1.0", std::nullopt});
  upgrade.setTimestamp("1700000000000");
  EXPECT_EQ(textOf(messages.mutableMessageForEvent(upgrade)),
            golden(anonymous,
                   R"("event":{"lifecycleEvent":{"previousVersionCode":"1.0","previousBuildType":"<null>",)"
                   R"("currentVersionCode":"1.1","currentBuildType":"2","isUpgrade":false},)"
                   R"("appVisibilityState":0})",
                   "1700000000000"));

  viewPages();
  const std::string sessionInfo = R"(,"sessionInfo":{"id":"0000000000000007","timestamp":"1767225500000"},)";
  EXPECT_EQ(
      textOf(messages.mutableMessagePageviewWithPageviewInfo({{"id", "3"}, {"title", "Sale"}})),
      golden(anonymous, R"("pageviewInfo":{"id":"3","title":"Sale"})" + sessionInfo + R"("pageview":{})"));

  identity.setUrlEncodedIdentity("ada%40example.com");
  identity.setEventProperties(Dictionary{{"plan", "pro"}, {"trial", true}});
  const std::string ada = R"({"id":"0000000000000042","identity":"ada@example.com"})";
  const std::string properties = R"("properties":{"plan":{"string":"pro"},"trial":{"bool":true}},)";
  EXPECT_EQ(textOf(customMessage()),
            golden(ada, R"("pageviewInfo":{"id":"0000000000000002","viewController":"Cart"})" + sessionInfo +
                            properties + checkout));
  EXPECT_EQ(textOf(customMessage(Dictionary{{"id", "5"}})),
            golden(ada, R"("pageviewInfo":{"id":"5"})" + sessionInfo + properties + checkout))
      << "a pageview that is given stands alone";

  Tap tap;
  tap.setUserInfo(Dictionary{{"id", "9"}});
  tap.setSessionInfo(Dictionary{{"id", "8"}});
  tap.setPageviewInfo(Dictionary{{"id", "7"}});
  tap.setEventProperties(Dictionary{{"seats", 3}});
  device.advance(10);
  const MutableDictionary message = messages.mutableMessageForEvent(tap);
  EXPECT_EQ(message.find("id")->text(), tap.eventId());
  EXPECT_EQ(textOf(message),
            golden(R"({"id":"9"})", R"("pageviewInfo":{"id":"7"},"sessionInfo":{"id":"8"},)"
                                    R"("properties":{"seats":{"string":"3"}},)"
                                    R"("event":{"touchEvent":{"type":"touch"},"appVisibilityState":2})"));
}

TEST_F(KovaMessageBuilderTest, TakesIdTimeAndPropertiesOfNow) {
  EXPECT_NE(customMessage().find("id")->text(), customMessage().find("id")->text());
  const auto base = [this](const std::optional<Dictionary>& properties) {
    return messages.mutableBaseMessageWithEventProperties(properties, {}, {}, {});
  };
  device.advance(10);
  EXPECT_EQ(base(std::nullopt).find("timestamp")->text(), "1767225610000");
  for (const char* plan : {"pro", "basic"}) {
    identity.setEventProperties(Dictionary{{"plan", plan}});
    EXPECT_EQ(json(*base(std::nullopt).find("properties")),
              std::string(R"({"plan":{"string":")") + plan + R"("}})");
    EXPECT_FALSE(base(Dictionary()).find("properties")) << "an event's own stand, empty too";
  }
}

TEST_F(KovaMessageBuilderTest, EnrichesOnlyWhatIsMissing) {
  const Value own{{"id", "own"}};
  std::vector<MutableDictionary> queued{
      {}, {{"pageviewInfo", own}}, {{"sessionInfo", own}}, {{"pageviewInfo", own}, {"sessionInfo", own}}};
  for (const auto& message : queued)
    EXPECT_EQ(KovaMessageBuilder::unenrichedMessagesExistInArray({queued[3], message}), message.size() < 2);
  messages.enrichMessagesWithFirstPageview(queued);
  EXPECT_TRUE(queued[0].empty());

  viewPages();
  messages.enrichMessagesWithFirstPageview(queued);
  for (std::size_t i = 0; i < queued.size(); ++i) {
    EXPECT_EQ(*queued[i].find("pageviewInfo"), i % 2 ? own : Value(*session.mostRecentPageviewInfo())) << i;
    EXPECT_EQ(*queued[i].find("sessionInfo"), i / 2 ? own : Value(*session.sessionInfo())) << i;
  }
}

TEST_F(KovaMessageBuilderTest, FillsOnlyWhatAnEventLacks) {
  Tap tap;
  tap.applyMissingPropertiesFromSessionManager(session, identity);
  EXPECT_FALSE(tap.sessionInfo());
  EXPECT_FALSE(tap.pageviewInfo());
  viewPages();
  identity.setUserId("43");
  identity.setEventProperties(Dictionary{{"plan", "pro"}});
  tap.applyMissingPropertiesFromSessionManager(session, identity);
  EXPECT_EQ(json(*tap.userInfo()), R"({"id":"0000000000000042"})");
  EXPECT_TRUE(tap.eventProperties()->empty());
  EXPECT_EQ(json(*tap.sessionInfo()), json(*session.sessionInfo()));
  EXPECT_EQ(json(*tap.pageviewInfo()), R"({"id":"0000000000000002","viewController":"Cart"})");
}

using KovaRequestBuilderTest = MessageTest;

TEST_F(KovaRequestBuilderTest, WritesEachUrlWhole) {
  const auto identify = [this](const char* name) {
    return requests.identitySetUrlStringWithNewEncodedIdentity(name);
  };
  const auto addProperties = [this](const Dictionary& properties) {
    return requests.addUserPropertiesUrlStringWithSanitizedUserProperties(properties);
  };
  Dictionary remembered;
  const auto pageview = [&](const Dictionary& info) {
    return requests.pageviewUrlStringWithPageviewInfo(info, &remembered);
  };
  const auto textOf = [](const std::string& path, const std::string& rest) {
    return path + "?a=12345&s=0000000000000007&b=ios&tv=3.0&lv=9.0.0&u=a b" + rest;
  };
  const auto withoutId = [](const std::string& url) {
    return std::regex_replace(url, std::regex("&v=[0-9]{16}"), "&v=ID");
  };
  const std::string app =
      "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.0&vid=0F0E0D0C-0B0A-0908-0706-050403020100";
  identity.setUserId("a b");  // as stored, never encoded

  EXPECT_EQ(withoutId(identify("ada%40home")), textOf("api/identify_v3", "&i=ada%40home&v=ID"));
  EXPECT_EQ(withoutId(addProperties({{"plan type", "pro"}, {"trial", false}, {"a&b", "50%"}})),
            textOf("api/add_user_properties_v3", "&v=ID&_plan%20type=pro&_trial=0&_a%26b=50%25"));
  EXPECT_EQ(pageview({{"timestamp", "1"}, {"id", "3"}, {"viewController", "Cart & Co"}, {"title", ""}}),
            textOf("h", app + "&z=0&ts=1&v=3&h=Cart%20%26%20Co&t=&d=%28null%29&y=%28null%29"));
  EXPECT_EQ(json(remembered),
            R"({"m":"Example App","p":"1.0","g":"T & T","o":"iPhone15,2","f":"iOS 17.0",)"
            R"("vid":"0F0E0D0C-0B0A-0908-0706-050403020100","ts":"1","h":"Cart & Co","t":"",)"
            R"~("d":"(null)","y":"(null)"})~");

  viewPages();
  EXPECT_EQ(identify("ada"), textOf("api/identify_v3", "&i=ada&v=0000000000000002"));
  identity.setUrlEncodedIdentity("ada%40home");
  EXPECT_EQ(addProperties({}), textOf("api/add_user_properties_v3", "&i=ada%40home&v=0000000000000002"));
  identity.setEventProperties(Dictionary{{"plan type", "pro"}, {"trial", true}});
  EXPECT_EQ(pageview({{"timestamp", "1"},
                      {"id", "2"},
                      {"viewController", "V"},
                      {"title", "T"},
                      {"screenA11yId", "I"},
                      {"screenA11yLabel", "L"}}),
            textOf("h", "&i=ada%40home" + app +
                            "&z=2&ts=1&v=2&h=V&t=T&d=I&y=L&sp=h&sp=Home%2520screen&sp=ts"
                            "&sp=1767225500000&k=plan%2520type&k=pro&k=trial&k=1"));
  EXPECT_EQ(remembered.size(), 11u) << "pairs are no part of what a session remembers";

  EXPECT_EQ(
      KovaRequestBuilder::messageBatchUrlWithBaseUrl(*NSURL::create("http://h:1/sub/")).absoluteString(),
      "http://h:1/sub/api/integrations/ios/track");
}

TEST_F(KovaRequestBuilderTest, TellsOfAUrlThatIsTooLongToBeSent) {
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  const std::string text(NSURLRequest::kLongestURL, 'x');
  requests.addUserPropertiesUrlStringWithSanitizedUserProperties({{"note", text}});
  EXPECT_THAT(device.log(), testing::ElementsAre(
                                MatchesRegex(".*makes a URL of [0-9]+ bytes, which is too long to be sent: "
                                             "api/add_user_properties_v3")));
}

TEST_F(KovaRequestBuilderTest, ExtractsQueryParametersAndAppendsTheTimeOfNow) {
  std::string time = "h?a=1";
  KOVA_appendTimestampParameter(time);
  EXPECT_EQ(time, "h?a=1&ts=1767225600000");
  const std::string url = "h?t=first&h=a%20b%26c&x=1&y=&t=last&z&tt=2#d=3";
  EXPECT_EQ(json(KOVA_dictionaryExtractingQueryParameters(url, {"h", "t", "d", "y", "z"})),
            R"({"t":"last","h":"a b&c","y":""})");
  EXPECT_TRUE(KOVA_dictionaryExtractingQueryParameters(url, {}).empty());
  EXPECT_TRUE(KOVA_dictionaryExtractingQueryParameters("t=1", {"t"}).empty());
}

}  // namespace
