#include <gmock/gmock.h>

#include "src/core/KovaLogger.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

class PropertiesAndIdentityTest : public testing::Test {
 protected:
  PropertiesAndIdentityTest() {
    device.startAndSettle();
    userId = Kova::userId().value();
    sessionId = Kova::sessionId().value();
    KovaLogger::sharedInstance().setLogLevel(1);
    device.clearLog();
  }

  // The lines of the call and of the work that it queues.
  std::vector<std::string> linesOf(const std::function<void()>& call) {
    device.clearLog();
    call();
    device.drain();
    return device.log();
  }
  std::string eventProperties() const {
    return device.stored("eventProperties") ? json(*device.stored("eventProperties")) : "";
  }

  SimulatedDevice device;
  std::string userId;
  std::string sessionId;
};

TEST_F(PropertiesAndIdentityTest, IdentifyNamesTheAnonymousUser) {
  EXPECT_THAT(linesOf([] { Kova::identify("ada @home"); }),
              ElementsAre("[KOVA DEBUG]: Identified user with identity: ada @home"));
  EXPECT_EQ(Kova::identity(), "ada%20%40home");
  EXPECT_EQ(Kova::userId(), userId);
  EXPECT_EQ(Kova::sessionId(), sessionId);
  EXPECT_EQ(device.stored("identity"), Value("ada%20%40home"));

  device.advance(15);
  device.runUntilRequests(3);
  EXPECT_THAT(device.receivedTargets("/api/identify_v3"), SizeIs(1));
}

TEST_F(PropertiesAndIdentityTest, IdentifyUnderTheSameNameOnlyLogs) {
  Kova::identify("ada");
  device.drain();
  EXPECT_THAT(linesOf([] { Kova::identify("ada"); }),
              ElementsAre("[KOVA DEBUG]: Identified user with identity: ada"));
  EXPECT_EQ(Kova::userId(), userId);
  EXPECT_EQ(Kova::sessionId(), sessionId);
  device.advance(15);
  device.runUntilRequests(3);
  EXPECT_THAT(device.receivedTargets("/api/identify_v3"), SizeIs(1));
}

TEST_F(PropertiesAndIdentityTest, IdentifyUnderAnotherNameMakesANewUserFirst) {
  Kova::identify("ada");
  device.drain();
  // The first line tells of the call, the second of the one that follows the reset.
  EXPECT_THAT(linesOf([] { Kova::identify("grace"); }),
              ElementsAre("[KOVA DEBUG]: Identified user with identity: grace",
                          "[KOVA DEBUG]: Identified user with identity: grace"));
  EXPECT_EQ(Kova::identity(), "grace");
  const std::string newUserId = Kova::userId().value();
  EXPECT_THAT(newUserId, MatchesRegex("[0-9]{16}"));
  EXPECT_NE(newUserId, userId);
  EXPECT_NE(Kova::sessionId(), sessionId);
  EXPECT_EQ(device.stored("userId"), Value(newUserId));

  Kova::track("Checkout");
  device.advance(15);
  device.runUntilRequests(6);  // two identities, a pageview of the new session, the event
  const auto identities = device.receivedTargets("/api/identify_v3");
  ASSERT_THAT(identities, SizeIs(2));
  EXPECT_NE(identities[1].find("&u=" + newUserId + "&i=grace"), std::string::npos) << identities[1];
  EXPECT_EQ(json(at(device.receivedMessages().back(), "user")),
            R"({"id":")" + newUserId + R"(","identity":"grace"})");
  EXPECT_NE(device.receivedTargets("/h")[1].find("&z=0&"), std::string::npos) << "a new user";
}

TEST_F(PropertiesAndIdentityTest, IdentifyWithNothingToIdentifyBy) {
  EXPECT_THAT(linesOf([] { Kova::identify(""); }), IsEmpty());
  for (const Value& noString : {Value(Dictionary{{"name", "ada"}}), Value(3), Value()}) {
    EXPECT_THAT(
        linesOf([&] { Kova::identify(noString); }),
        ElementsAre("Kova: The `identify:(NSDictionary *)properties` method has been removed. Please use "
                    "`identify:(NSString *)identity` and `addUserProperties:(NSDictionary *)properties`"));
  }
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_EQ(Kova::userId(), userId);
}

TEST_F(PropertiesAndIdentityTest, ResetIdentityMakesAnIdentifiedUserAnonymous) {
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::userId(), userId) << "an anonymous user stays as it is";
  EXPECT_EQ(Kova::sessionId(), sessionId);

  Kova::addEventProperties({{"tier", "gold"}});
  Kova::identify("ada");
  Kova::setTrackingEnabled(false);  // does not matter
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_EQ(device.stored("identity"), std::nullopt);
  EXPECT_NE(Kova::userId(), userId);
  EXPECT_NE(Kova::sessionId(), sessionId);
  EXPECT_EQ(eventProperties(), R"({"tier":"gold"})");
}

TEST_F(PropertiesAndIdentityTest, EventPropertiesAreMergedKeptAndRemoved) {
  EXPECT_THAT(
      linesOf([] {
        Kova::addEventProperties({{"tier", "gold"}, {"beta", true}});
      }),
      ElementsAre("[KOVA DEBUG]: Called +[Kova addEventProperties:]. Event properties are now: {\n    beta = "
                  "1;\n    tier = gold;\n}"));
  Kova::addEventProperties({{"tier", 3}, {"none", nullptr}, {7, "seven"}});
  device.drain();
  EXPECT_EQ(eventProperties(), R"({"tier":"3","beta":true})");

  EXPECT_THAT(linesOf([] {
                Kova::addEventProperties({{"a", nullptr}});
              }),
              ElementsAre("[KOVA DEBUG]: AddUserProperties: ignoring NSNull value for a"));
  Kova::setTrackingEnabled(false);
  Kova::addEventProperties({{"more", 1}});
  EXPECT_THAT(
      linesOf([] { Kova::removeEventProperty("tier"); }),
      ElementsAre(
          "[KOVA DEBUG]: Called +[Kova removeEventProperty:]. Event properties are now: {\n    beta = "
          "1;\n}"));
  Kova::setTrackingEnabled(true);
  device.start();
  Kova::track("Checkout");
  device.advance(15);
  device.runUntilRequests(4);
  EXPECT_EQ(json(at(device.receivedMessages().back(), "properties")), R"({"beta":{"bool":true}})");

  EXPECT_THAT(
      linesOf([] { Kova::clearEventProperties(); }),
      ElementsAre("[KOVA DEBUG]: Called +[Kova clearEventProperties]. Event properties are now: {\n}"));
  Kova::track("Checkout");
  device.advance(15);
  device.runUntilRequests(5);
  EXPECT_EQ(device.receivedMessages().back().find("properties"), nullptr);
}

TEST_F(PropertiesAndIdentityTest, EventPropertiesAreThoseOfTheTimeOfTheEvent) {
  Kova::addEventProperties({{"tier", "gold"}});
  Kova::track("Checkout");
  Kova::addEventProperties({{"tier", "none"}});
  device.advance(15);
  device.runUntilRequests(3);
  EXPECT_EQ(json(at(device.receivedMessages().back(), "properties")), R"({"tier":{"string":"gold"}})");
}

TEST_F(PropertiesAndIdentityTest, UserPropertiesAreSentAndNotKept) {
  EXPECT_THAT(linesOf([] {
                Kova::addUserProperties({{"plan", "pro"}, {"seats", 3}, {"none", nullptr}});
              }),
              ElementsAre("[KOVA DEBUG]: AddUserProperties: ignoring NSNull value for none",
                          "[KOVA DEBUG]: Added user properties: {\n    plan = pro;\n    seats = 3;\n}"));
  EXPECT_THAT(linesOf([] { Kova::addUserProperties(Dictionary()); }), IsEmpty());
  device.advance(15);
  device.runUntilRequests(3);
  const auto targets = device.receivedTargets("/api/add_user_properties_v3");
  ASSERT_THAT(targets, SizeIs(1));
  EXPECT_NE(targets[0].find("&_plan=pro&_seats=3"), std::string::npos) << targets[0];
  EXPECT_EQ(eventProperties(), "");
}

}  // namespace
