#include "src/events/KovaRequestBuilder.h"

#include "tests/src/events/MessageFixture.h"

using namespace platform;
using testing::MatchesRegex;

namespace {

using KovaRequestBuilderTest = MessageTest;

constexpr const char* kBase = "?a=12345&s=0000000000000007&b=ios&tv=3.0&lv=9.0.0";
constexpr const char* kAppAndDevice =
    "&m=Example%20App&p=1.0&g=T%20%26%20T&o=iPhone15%2C2&f=iOS%2017.0&vid=0F0E0D0C-0B0A-0908-0706-"
    "050403020100";

TEST_F(KovaRequestBuilderTest, WritesTheFirstPageviewWholeAndTellsWhatTheSessionRemembers) {
  Dictionary pixelProperties;
  const std::string url = requests.pageviewUrlStringWithPageviewInfo({{"timestamp", "1767225600000"},
                                                                      {"id", "0000000000000003"},
                                                                      {"viewController", "Cart & Co"},
                                                                      {"title", ""}},
                                                                     &pixelProperties);
  EXPECT_EQ(url,
            std::string("h") + kBase + "&u=0000000000000042" + kAppAndDevice +
                "&z=0&ts=1767225600000&v=0000000000000003&h=Cart%20%26%20Co&t=&d=%28null%29&y=%28null%29");
  EXPECT_EQ(json(pixelProperties),
            R"({"m":"Example App","p":"1.0","g":"T & T","o":"iPhone15,2","f":"iOS 17.0",)"
            R"("vid":"0F0E0D0C-0B0A-0908-0706-050403020100","ts":"1767225600000","h":"Cart & Co","t":"",)"
            R"~("d":"(null)","y":"(null)"})~");
}

TEST_F(KovaRequestBuilderTest, WritesALaterPageviewWithSessionAndEventPropertiesInPairs) {
  identity.setUrlEncodedIdentity("ada%40example.com");
  identity.setEventProperties(Dictionary{{"plan type", "pro"}, {"trial", true}});
  viewPages();
  Dictionary pixelProperties;
  const std::string url = requests.pageviewUrlStringWithPageviewInfo({{"timestamp", "1"},
                                                                      {"id", "2"},
                                                                      {"viewController", "V"},
                                                                      {"title", "T"},
                                                                      {"screenA11yId", "I"},
                                                                      {"screenA11yLabel", "L"}},
                                                                     &pixelProperties);
  EXPECT_EQ(url, std::string("h") + kBase + "&u=0000000000000042&i=ada%40example.com" + kAppAndDevice +
                     "&z=2&ts=1&v=2&h=V&t=T&d=I&y=L&sp=h&sp=Home%2520screen&sp=ts&sp=1767225500000"
                     "&k=plan%2520type&k=pro&k=trial&k=1");
  // Pairs are no part of what a session remembers.
  EXPECT_EQ(pixelProperties.size(), 11u);
}

TEST_F(KovaRequestBuilderTest, WritesAnIdentityWhole) {
  identity.setUserId("a b");  // as stored, never encoded
  EXPECT_THAT(
      requests.identitySetUrlStringWithNewEncodedIdentity("ada%40example.com"),
      MatchesRegex("api/identify_v3\\" + std::string(kBase) + "&u=a b&i=ada%40example.com&v=[0-9]{16}"));
  viewPages();
  EXPECT_EQ(requests.identitySetUrlStringWithNewEncodedIdentity("ada"),
            std::string("api/identify_v3") + kBase + "&u=a b&i=ada&v=0000000000000002");
}

TEST_F(KovaRequestBuilderTest, WritesUserPropertiesWhole) {
  const Dictionary properties{{"plan type", "pro"}, {"trial", false}, {"a&b", "50%"}};
  const std::string url = requests.addUserPropertiesUrlStringWithSanitizedUserProperties(properties);
  EXPECT_THAT(url, MatchesRegex("api/add_user_properties_v3\\" + std::string(kBase) +
                                "&u=0000000000000042&v=[0-9]{16}&_plan%20type=pro&_trial=0&_a%26b=50%25"));
  identity.setUrlEncodedIdentity("ada");
  viewPages();
  EXPECT_EQ(
      requests.addUserPropertiesUrlStringWithSanitizedUserProperties({}),
      std::string("api/add_user_properties_v3") + kBase + "&u=0000000000000042&i=ada&v=0000000000000002");
}

TEST_F(KovaRequestBuilderTest, PutsBatchesBelowTheBaseUrl) {
  const std::pair<const char*, const char*> urls[] = {
      {"https://host.example", "https://host.example/api/integrations/ios/track"},
      {"https://host.example/", "https://host.example/api/integrations/ios/track"},
      {"http://host.example:8080/sub/", "http://host.example:8080/sub/api/integrations/ios/track"},
  };
  for (const auto& [base, expected] : urls) {
    EXPECT_EQ(KovaRequestBuilder::messageBatchUrlWithBaseUrl(*NSURL::create(base)).absoluteString(),
              expected);
  }
}

}  // namespace
