#include "src/events/KovaRequestBuilder.h"

#include <regex>

#include "src/core/KovaLogger.h"
#include "tests/src/events/MessageFixture.h"

using namespace platform;

namespace {

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
  const auto textOf = [](const std::string& path, const std::string& user, const std::string& rest) {
    return path + "?a=12345&s=0000000000000007&b=ios&tv=3.0&lv=9.0.0&u=" + user + rest;
  };
  const auto withoutId = [](const std::string& url) {
    return std::regex_replace(url, std::regex("&v=[0-9]{16}"), "&v=ID");
  };
  const std::string app =
      "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.0&vid=0F0E0D0C-0B0A-0908-0706-050403020100";
  identity.setUserId("a b");  // as stored, never encoded

  EXPECT_EQ(withoutId(identify("ada%40home")), textOf("api/identify_v3", "a b", "&i=ada%40home&v=ID"));
  EXPECT_EQ(withoutId(addProperties({{"plan type", "pro"}, {"trial", false}, {"a&b", "50%"}})),
            textOf("api/add_user_properties_v3", "a b", "&v=ID&_plan%20type=pro&_trial=0&_a%26b=50%25"));
  EXPECT_EQ(pageview({{"timestamp", "1"}, {"id", "3"}, {"viewController", "Cart & Co"}, {"title", ""}}),
            textOf("h", "a b", app + "&z=0&ts=1&v=3&h=Cart%20%26%20Co&t=&d=%28null%29&y=%28null%29"));
  EXPECT_EQ(json(remembered),
            R"({"m":"Example App","p":"1.0","g":"T & T","o":"iPhone15,2","f":"iOS 17.0",)"
            R"("vid":"0F0E0D0C-0B0A-0908-0706-050403020100","ts":"1","h":"Cart & Co","t":"",)"
            R"~("d":"(null)","y":"(null)"})~");

  viewPages();
  EXPECT_EQ(identify("ada"), textOf("api/identify_v3", "a b", "&i=ada&v=0000000000000002"));
  identity.setUrlEncodedIdentity("ada%40home");
  EXPECT_EQ(addProperties({}),
            textOf("api/add_user_properties_v3", "a b", "&i=ada%40home&v=0000000000000002"));
  identity.setEventProperties(Dictionary{{"plan type", "pro"}, {"trial", true}});
  EXPECT_EQ(pageview({{"timestamp", "1"},
                      {"id", "2"},
                      {"viewController", "V"},
                      {"title", "T"},
                      {"screenA11yId", "I"},
                      {"screenA11yLabel", "L"}}),
            textOf("h", "a b",
                   "&i=ada%40home" + app +
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
  EXPECT_THAT(device.log(), testing::ElementsAre(testing::MatchesRegex(
                                ".*makes a URL of [0-9]+ bytes, which is too long to be sent: "
                                "api/add_user_properties_v3")));
}

}  // namespace
