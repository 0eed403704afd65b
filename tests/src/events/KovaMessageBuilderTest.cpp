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
  static std::string goldenText(MutableDictionary message) {
    EXPECT_THAT(std::string(message.find("id")->text()), MatchesRegex("[0-9]{16}"));
    message.set("id", "ID");
    return json(message);
  }
  static bool has(const MutableDictionary& message, std::string_view key) {
    return message.find(key) != nullptr;
  }

  MutableDictionary customMessage(const std::optional<Dictionary>& pageviewInfo = std::nullopt) const {
    KIMoment moment = KIMoment::now();
    moment.pageviewInfo = pageviewInfo;
    return messages.mutableMessageWithEventDictionary(Dictionary{{"name", "Checkout"}}, "customEvent", 2,
                                                      moment);
  }
};

constexpr const char* kAppAndDevice =
    R"("applicationInfo":{"appName":"Example App","appVersion":"1.0","libraryVersion":"9.0.0"},)"
    R"("deviceInfo":{"carrier":"T & T","phoneModel":"iPhone15,2","platform":"iOS 17.0",)"
    R"("iosVendorId":"0F0E0D0C-0B0A-0908-0706-050403020100"})";

TEST_F(KovaMessageBuilderTest, WritesACustomEventWhole) {
  identity.setUrlEncodedIdentity("ada%40example.com");
  identity.setEventProperties(Dictionary{{"plan", "pro"}, {"trial", true}});
  viewPages();
  EXPECT_EQ(goldenText(customMessage()),
            std::string(
                R"({"id":"ID","envId":"12345","user":{"id":"0000000000000042","identity":"ada@example.com"},)"
                R"("timestamp":"1767225600000",)") +
                kAppAndDevice +
                R"(,"pageviewInfo":{"id":"0000000000000002","viewController":"Cart"},)"
                R"("sessionInfo":{"id":"0000000000000007","timestamp":"1767225500000"},)"
                R"("properties":{"plan":{"string":"pro"},"trial":{"bool":true}},)"
                R"("event":{"customEvent":{"name":"Checkout"},"appVisibilityState":2}})");
}

TEST_F(KovaMessageBuilderTest, WritesAPageviewWhole) {
  viewPages();
  EXPECT_EQ(
      goldenText(messages.mutableMessagePageviewWithPageviewInfo({{"id", "3"}, {"title", "Sale"}})),
      std::string(
          R"({"id":"ID","envId":"12345","user":{"id":"0000000000000042"},"timestamp":"1767225600000",)") +
          kAppAndDevice +
          R"(,"pageviewInfo":{"id":"3","title":"Sale"},)"
          R"("sessionInfo":{"id":"0000000000000007","timestamp":"1767225500000"},"pageview":{}})");
}

TEST_F(KovaMessageBuilderTest, WritesAnEventObjectWithItsOwnIdTimeAndDescriptors) {
  Tap tap;
  tap.setUserInfo(Dictionary{{"id", "9"}});
  tap.setSessionInfo(Dictionary{{"id", "8"}});
  tap.setPageviewInfo(Dictionary{{"id", "7"}});
  tap.setEventProperties(Dictionary{{"seats", 3}});
  identity.setEventProperties(Dictionary{{"plan", "pro"}});
  viewPages();
  device.advance(10);

  const MutableDictionary message = messages.mutableMessageForEvent(tap);
  EXPECT_EQ(message.find("id")->text(), tap.eventId());
  EXPECT_EQ(
      goldenText(message),
      std::string(R"({"id":"ID","envId":"12345","user":{"id":"9"},"timestamp":"1767225600000",)") +
          kAppAndDevice +
          R"(,"pageviewInfo":{"id":"7"},"sessionInfo":{"id":"8"},"properties":{"seats":{"string":"3"}},)"
          R"("event":{"touchEvent":{"type":"touch"},"appVisibilityState":2}})");
  EXPECT_EQ(messages.mutableBaseMessageWithEventProperties({}, {}, {}, {}).find("timestamp")->text(),
            "1767225610000");
}

TEST_F(KovaMessageBuilderTest, WritesTheLifecycleEventWithoutVisibility) {
  KILifecycleEvent event({"1.1", "2"}, {"1.0", std::nullopt});
  event.setTimestamp("1700000000000");
  const MutableDictionary message = messages.mutableMessageForEvent(event);
  EXPECT_EQ(message.find("timestamp")->text(), "1700000000000");
  EXPECT_EQ(
      json(*message.find("event")),
      R"({"lifecycleEvent":{"previousVersionCode":"1.0","previousBuildType":"<null>",)"
      R"("currentVersionCode":"1.1","currentBuildType":"2","isUpgrade":false},"appVisibilityState":0})");
}

TEST_F(KovaMessageBuilderTest, LeavesOutWhatIsMissing) {
  const MutableDictionary message = customMessage();
  for (const char* key : {"pageviewInfo", "sessionInfo", "properties"})
    EXPECT_FALSE(has(message, key)) << key;
  EXPECT_EQ(message.size(), 7u);
  // An event's own empty properties are not replaced by the current ones.
  identity.setEventProperties(Dictionary{{"plan", "pro"}});
  EXPECT_FALSE(has(messages.mutableBaseMessageWithEventProperties(Dictionary(), {}, {}, {}), "properties"));
  EXPECT_TRUE(has(messages.mutableBaseMessageWithEventProperties(std::nullopt, {}, {}, {}), "properties"));
  // And the current ones are those of now, not of the message before.
  identity.setEventProperties(Dictionary{{"plan", "basic"}});
  EXPECT_EQ(json(*customMessage().find("properties")), R"({"plan":{"string":"basic"}})");
  // A pageview that is given stands alone.
  EXPECT_EQ(*customMessage(Dictionary{{"id", "5"}}).find("pageviewInfo"), (Value{{"id", "5"}}));
}

TEST_F(KovaMessageBuilderTest, GivesEveryMessageAnIdOfItsOwn) {
  EXPECT_NE(customMessage().find("id")->text(), customMessage().find("id")->text());
}

TEST_F(KovaMessageBuilderTest, EnrichesOnlyWhatIsMissing) {
  std::vector<MutableDictionary> queued(4);
  queued[1].set("pageviewInfo", Value{{"id", "own"}});
  queued[2].set("sessionInfo", Value{{"id", "own"}});
  queued[3] = {{"pageviewInfo", {{"id", "own"}}}, {"sessionInfo", {{"id", "own"}}}};

  messages.enrichMessagesWithFirstPageview(queued);
  EXPECT_TRUE(queued[0].empty());

  viewPages();
  messages.enrichMessagesWithFirstPageview(queued);
  const Value pageview(*session.mostRecentPageviewInfo());
  const Value sessionInfo(*session.sessionInfo());
  const Value own{{"id", "own"}};
  const std::pair<Value, Value> expected[] = {
      {pageview, sessionInfo}, {own, sessionInfo}, {pageview, own}, {own, own}};
  for (std::size_t i = 0; i < queued.size(); ++i) {
    EXPECT_EQ(*queued[i].find("pageviewInfo"), expected[i].first) << i;
    EXPECT_EQ(*queued[i].find("sessionInfo"), expected[i].second) << i;
    EXPECT_EQ(queued[i].size(), 2u) << i;
  }
}

TEST_F(KovaMessageBuilderTest, TellsWhetherAnyMessageIsNotEnriched) {
  const MutableDictionary enriched{{"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}};
  const MutableDictionary withoutSession{{"pageviewInfo", Dictionary()}};
  const MutableDictionary withoutPageview{{"sessionInfo", Dictionary()}};
  EXPECT_FALSE(KovaMessageBuilder::unenrichedMessagesExistInArray({}));
  EXPECT_FALSE(KovaMessageBuilder::unenrichedMessagesExistInArray({enriched, enriched}));
  EXPECT_TRUE(KovaMessageBuilder::unenrichedMessagesExistInArray({enriched, withoutSession}));
  EXPECT_TRUE(KovaMessageBuilder::unenrichedMessagesExistInArray({withoutPageview, enriched}));
}

TEST_F(KovaMessageBuilderTest, FillsOnlyWhatAnEventLacks) {
  Tap empty;
  empty.applyMissingPropertiesFromSessionManager(session, identity);
  EXPECT_EQ(Value(*empty.userInfo()), (Value{{"id", "0000000000000042"}}));
  EXPECT_TRUE(empty.eventProperties()->empty());
  EXPECT_FALSE(empty.sessionInfo());
  EXPECT_FALSE(empty.pageviewInfo());

  viewPages();
  identity.setUserId("43");
  identity.setEventProperties(Dictionary{{"plan", "pro"}});
  empty.applyMissingPropertiesFromSessionManager(session, identity);
  EXPECT_EQ(Value(*empty.userInfo()), (Value{{"id", "0000000000000042"}}));
  EXPECT_TRUE(empty.eventProperties()->empty());
  EXPECT_EQ(Value(*empty.sessionInfo()), Value(*session.sessionInfo()));
  EXPECT_EQ(Value(*empty.pageviewInfo()), (Value{{"id", "0000000000000002"}, {"viewController", "Cart"}}));
}

}  // namespace
