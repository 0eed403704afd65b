#include <filesystem>
#include <fstream>

#include "platform/foundation/NSFileManager.h"
#include "src/storage/KICallLog.h"
#include "tests/src/core/TrackerFixture.h"
#include "tests/support/ResourceLimit.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class PropertiesAndIdentityTest : public TrackerTest {
 protected:
  PropertiesAndIdentityTest() {
    device.startAndSettle();
    userId = Kova::userId().value();
    sessionId = Kova::sessionId().value();
  }

  // Since this was asked last.
  bool isNewUserWithNewSession() {
    const std::string user = std::exchange(userId, Kova::userId().value());
    const std::string session = std::exchange(sessionId, Kova::sessionId().value());
    EXPECT_EQ(user == userId, session == sessionId);
    return user != userId;
  }

  std::string userId;
  std::string sessionId;
};

TEST_F(PropertiesAndIdentityTest, AUserIsAnonymousUntilIdentifiedAndANewOneUnderAnotherNameOrOnceReset) {
  EXPECT_THAT(linesOf([] { Kova::identify(""); }), IsEmpty());
  for (const Value& noString : {Value(Dictionary{{"name", "ada"}}), Value(3), Value()}) {
    EXPECT_THAT(
        linesOf([&] { Kova::identify(noString); }),
        ElementsAre("Kova: The `identify:(NSDictionary *)properties` method has been removed. Please use "
                    "`identify:(NSString *)identity` and `addUserProperties:(NSDictionary *)properties`"));
  }
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  for (int call = 0; call < 2; ++call) {
    EXPECT_THAT(linesOf([] { Kova::identify("ada @home"); }),
                ElementsAre("[KOVA DEBUG]: Identified user with identity: ada @home"));
    EXPECT_EQ(Kova::identity(), "ada%20%40home");
    EXPECT_EQ(storedText("identity"), "ada%20%40home");
    EXPECT_FALSE(isNewUserWithNewSession());
  }
  send();

  // The first line tells of the call, the second of the one that follows the reset.
  EXPECT_THAT(linesOf([] { Kova::identify("grace"); }),
              ElementsAre("[KOVA DEBUG]: Identified user with identity: grace",
                          "[KOVA DEBUG]: Identified user with identity: grace"));
  const std::string ada = userId;
  EXPECT_TRUE(isNewUserWithNewSession());
  EXPECT_THAT(userId, MatchesRegex("[0-9]{16}"));
  EXPECT_EQ(storedText("userId"), userId);
  Kova::track("Checkout");
  send();
  EXPECT_THAT(sentParameters("/api/identify_v3", "u"), ElementsAre(ada, userId));
  EXPECT_THAT(sentParameters("/api/identify_v3", "i"), ElementsAre("ada%20%40home", "grace"));
  EXPECT_THAT(sentParameters("/h", "z"), ElementsAre("0", "0")) << "a new user";

  Kova::setTrackingEnabled(false);  // does not matter
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_TRUE(isNewUserWithNewSession());
}

TEST_F(PropertiesAndIdentityTest, TheLastIdentityCallWins) {
  const struct {
    std::vector<std::string> calls;  // "-" resets
    Value identity;
    std::size_t sent;
  } cases[] = {{{"grace", "mary"}, "mary", 2}, {{"grace", "-"}, nullptr, 1},
               {{"-", "grace"}, "grace", 1},   {{"grace", ""}, "grace", 1},
               {{"grace", "ada"}, "ada", 2},   {{"grace", "grace"}, "grace", 1}};
  for (const auto& [calls, identity, sent] : cases) {
    SCOPED_TRACE(testing::PrintToString(calls));
    Kova::identify("ada");
    send();
    const std::size_t before = device.receivedTargets("/api/identify_v3").size();
    for (const std::string& name : calls) name == "-" ? Kova::resetIdentity() : Kova::identify(name);
    Kova::track("Checkout");
    send();
    EXPECT_EQ(device.receivedTargets("/api/identify_v3").size(), before + sent);
    EXPECT_EQ(at(lastMessage(), "user/identity"), identity);
    EXPECT_EQ(at(lastMessage(), "user/id"), Value(*Kova::userId()));
    EXPECT_EQ(at(lastMessage(), "sessionInfo/id"), Value(*Kova::sessionId()));
  }
}

// Commits in the log of the library's database: the frames that say how large the database is after them.
std::size_t commitsInLog() {
  std::ifstream log(directories().preferences + "/" + directories().applicationIdentifier + ".sqlite-wal",
                    std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(log)), {});
  std::size_t commits = 0;
  for (std::size_t frame = 32; frame < bytes.size(); frame += 24 + 4096)  // a header and a page
    commits += bytes.substr(frame + 4, 4) != std::string(4, '\0');
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

TEST_F(PropertiesAndIdentityTest, ChangesOfPropertiesAreToldAndAddedOnlyWhileTracking) {
  const auto nowAre = [](const std::string& call, const std::string& properties) {
    return ElementsAre("[KOVA DEBUG]: Called +[Kova " + call + "]. Event properties are now: {\n" +
                       properties + "}");
  };
  const auto ignoringA = ElementsAre("[KOVA DEBUG]: AddUserProperties: ignoring NSNull value for a");
  EXPECT_THAT(linesOf([] {
                Kova::addEventProperties({{"tier", 3}, {"beta", true}});
              }),
              nowAre("addEventProperties:", "    beta = 1;\n    tier = 3;\n"));
  EXPECT_THAT(linesOf([] { Kova::addEventProperties(Dictionary{{"a", nullptr}}); }), ignoringA);
  Kova::setTrackingEnabled(false);
  Kova::addEventProperties({{"more", 1}});
  EXPECT_THAT(linesOf([] { Kova::removeEventProperty("tier"); }),
              nowAre("removeEventProperty:", "    beta = 1;\n"));
  Kova::setTrackingEnabled(true);
  EXPECT_EQ(storedText("eventProperties"), R"({"beta":true})");

  EXPECT_THAT(linesOf([] {
                Kova::addUserProperties({{"plan", "pro"}, {"seats", 3}});
              }),
              ElementsAre("[KOVA DEBUG]: Added user properties: {\n    plan = pro;\n    seats = 3;\n}"));
  EXPECT_THAT(linesOf([] { Kova::addUserProperties(Dictionary{{"a", nullptr}}); }), ignoringA);
  EXPECT_THAT(linesOf([] { Kova::addUserProperties(Dictionary()); }), IsEmpty());
  EXPECT_EQ(storedText("eventProperties"), R"({"beta":true})");
  EXPECT_THAT(linesOf([] { Kova::clearEventProperties(); }), nowAre("clearEventProperties", ""));
}

TEST_F(PropertiesAndIdentityTest, ACallIsDoneOnceTheStoreHasIt) {
  const std::string calls = directories().applicationSupport + "/kova-12345.calls";
  const auto left = [&calls] {  // to a process that would start now
    const std::string copy = calls + ".copy";
    std::filesystem::copy_file(calls, copy, std::filesystem::copy_options::overwrite_existing);
    KICallLog log;
    log.open(copy);
    return log.takeLeft({}).calls.size();
  };
  device.store("somebodyElses", std::string(200'000, 'x'));
  {
    const auto full = ResourceLimit::fileSize(100'000);
    Kova::identify("ada");
    device.drain();
    EXPECT_EQ(storedText("identity"), "ada") << "to this process";
    EXPECT_EQ(left(), 1u);
  }
  device.application->enterBackground();
  device.drain();
  EXPECT_EQ(left(), 0u);
}

}  // namespace
