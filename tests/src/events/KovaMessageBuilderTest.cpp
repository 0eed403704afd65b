#include "src/events/KovaMessageBuilder.h"

#include "src/events/KIEvent.h"
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

}  // namespace
