#include <gmock/gmock.h>

#include <fstream>

#include "platform/foundation/NSFileManager.h"
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

TEST_F(PropertiesAndIdentityTest, IdentifyNamesTheAnonymousUserOnce) {
  for (int call = 0; call < 2; ++call) {
    EXPECT_THAT(linesOf([] { Kova::identify("ada @home"); }),
                ElementsAre("[KOVA DEBUG]: Identified user with identity: ada @home"));
    EXPECT_EQ(Kova::identity(), "ada%20%40home");
    EXPECT_EQ(Kova::userId(), userId);
    EXPECT_EQ(Kova::sessionId(), sessionId);
  }
  EXPECT_EQ(device.stored("identity"), Value("ada%20%40home"));
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

TEST_F(PropertiesAndIdentityTest, TheLastIdentityCallWins) {
  const auto identitiesSent = [this] {
    device.settle();
    device.advance(15);
    device.settle();
    return device.receivedTargets("/api/identify_v3").size();
  };
  const struct {
    std::vector<std::string> calls;  // "-" resets
    Value identity;
    std::size_t sent;
  } cases[] = {{{"grace", "mary"}, "mary", 2}, {{"grace", "-"}, nullptr, 1},
               {{"-", "grace"}, "grace", 1},   {{"grace", ""}, "grace", 1},
               {{"grace", "ada"}, "ada", 2},   {{"grace", "grace"}, "grace", 1}};
  for (const auto& each : cases) {
    Kova::identify("ada");
    const std::size_t before = identitiesSent();
    for (const std::string& name : each.calls) name == "-" ? Kova::resetIdentity() : Kova::identify(name);
    Kova::track("Checkout");
    device.drain();
    EXPECT_EQ(identitiesSent(), before + each.sent) << testing::PrintToString(each.calls);
    const Dictionary message = device.receivedMessages().back();
    EXPECT_EQ(at(message, "user/identity"), each.identity) << testing::PrintToString(each.calls);
    EXPECT_EQ(at(message, "user/id"), Value(*Kova::userId()));
    EXPECT_EQ(at(message, "sessionInfo/id"), Value(*Kova::sessionId()));
  }
}

// Commits in the log of the library's database: the frames that say how large the database is after them.
std::size_t commitsInLog() {
  std::ifstream log(directories().preferences + "/" + directories().applicationIdentifier + ".sqlite-wal",
                    std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(log)), {});
  const auto numberAt = [&bytes](std::size_t place) {
    std::uint32_t number = 0;
    for (std::size_t i = place; i < place + 4; ++i)
      number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
  };
  std::size_t commits = 0;
  for (std::size_t frame = 32; frame + 24 < bytes.size(); frame += 24 + numberAt(8))
    commits += numberAt(frame + 4) != 0;
  return commits;
}

TEST_F(PropertiesAndIdentityTest, AnIdentityCallIsStoredInOneStep) {
  for (const char* name : {"ada", "grace", static_cast<const char*>(nullptr)}) {
    const std::size_t before = commitsInLog();
    name ? Kova::identify(name) : Kova::resetIdentity();
    device.drain();
    EXPECT_EQ(commitsInLog(), before + 1) << "identity, user id and URL of " << (name ? name : "nobody");
  }
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
