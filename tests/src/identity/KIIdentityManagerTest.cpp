#include "src/identity/KIIdentityManager.h"

#include <Kova/KovaConstants.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/storage/store/KovaPersistentStore.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

class KIIdentityManagerTest : public testing::Test {
 protected:
  // As after a restart: everything comes from what is stored.
  static KIIdentityManager open() {
    return KIIdentityManager(std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment));
  }
  std::optional<Value> stored(std::string_view key) const { return device.stored(key); }

  SimulatedDevice device;
};

TEST_F(KIIdentityManagerTest, MakesUpAUserOnTheFirstStartAndKeepsItOnTheNext) {
  std::string userId;
  {
    const KIIdentityManager first = open();
    EXPECT_TRUE(first.isAnonymous());
    EXPECT_TRUE(first.isFreshStart());
    userId = first.userId();
    EXPECT_THAT(userId, testing::MatchesRegex("[0-9]{16}"));
    EXPECT_EQ(first.ampersandPrefixedUserInfoQueryParameters(), "&u=" + userId);
    EXPECT_EQ(first.userInfo().size(), 1u);
    EXPECT_FALSE(first.hasIdentityDifferentFromUrlEncodedIdentity("anything"));
  }
  const KIIdentityManager second = open();
  EXPECT_EQ(second.userId(), userId);
  EXPECT_TRUE(second.isAnonymous());
  EXPECT_FALSE(second.isFreshStart());
}

TEST_F(KIIdentityManagerTest, DerivesTheUserFromAStoredIdentityOnlyWhereNoneIsStored) {
  device.store("identity", "a");
  EXPECT_EQ(open().userId(), "7251492750082316");
  EXPECT_EQ(stored("userId"), Value("7251492750082316"));
  EXPECT_FALSE(open().isFreshStart());

  // In plain decimal: a derived id is not padded.
  device.store("userId", "42");
  EXPECT_EQ(open().userId(), "42");
  auto manager = open();
  manager.setUrlEncodedIdentity("  ", true);
  EXPECT_EQ(open().userId(), "0");
  manager.setUrlEncodedIdentity("a", false);
  EXPECT_EQ(open().userId(), "0");
  manager.setUrlEncodedIdentity("a", true);
  EXPECT_EQ(open().userId(), "7251492750082316");
}

TEST_F(KIIdentityManagerTest, TellsWhoAnIdentifiedUserIs) {
  auto manager = open();
  const std::string userId = manager.userId();
  manager.setUrlEncodedIdentity("ada%40example.com");

  auto reopened = open();
  for (const KIIdentityManager& each : {std::ref(manager), std::ref(reopened)}) {
    EXPECT_FALSE(each.isAnonymous());
    EXPECT_FALSE(each.isFreshStart());
    EXPECT_EQ(each.userId(), userId);
    EXPECT_EQ(each.urlEncodedIdentity(), "ada%40example.com");
    EXPECT_EQ(each.ampersandPrefixedUserInfoQueryParameters(), "&u=" + userId + "&i=ada%40example.com");
    EXPECT_EQ(Value(each.userInfo()), (Value{{"id", userId}, {"identity", "ada@example.com"}}));
    EXPECT_FALSE(each.hasIdentityDifferentFromUrlEncodedIdentity("ada%40example.com"));
    EXPECT_TRUE(each.hasIdentityDifferentFromUrlEncodedIdentity("ada@example.com"));
    EXPECT_TRUE(each.hasIdentityDifferentFromUrlEncodedIdentity("Ada%40example.com"));
  }
}

TEST_F(KIIdentityManagerTest, ResetsAnIdentifiedUserButNeverAnAnonymousOne) {
  device.store("userId", "42");
  auto manager = open();
  manager.setEventProperties(Dictionary{{"plan", "pro"}});
  EXPECT_FALSE(manager.resetIdentity());
  EXPECT_EQ(manager.userId(), "42");
  EXPECT_FALSE(manager.isFreshStart());

  manager.setUrlEncodedIdentity("ada");
  EXPECT_TRUE(manager.resetIdentity());
  EXPECT_TRUE(manager.isFreshStart());
  EXPECT_THAT(manager.userId(), testing::MatchesRegex("[0-9]{16}"));
  EXPECT_EQ(Value(manager.userInfo()), (Value{{"id", manager.userId()}}));
  EXPECT_FALSE(stored("identity"));
  EXPECT_EQ(open().userId(), manager.userId());
  EXPECT_EQ(Value(open().eventProperties()), (Value{{"plan", "pro"}}));
}

TEST_F(KIIdentityManagerTest, KeepsEventProperties) {
  auto manager = open();
  EXPECT_TRUE(manager.eventProperties().empty());
  manager.addSanitizedEventProperties({{"plan", "free"}, {"trial", true}});
  manager.addSanitizedEventProperties({{"plan", "pro"}, {"seats", "3"}});
  EXPECT_EQ(Value(open().eventProperties()), (Value{{"plan", "pro"}, {"trial", true}, {"seats", "3"}}));

  manager.removeEventProperty("trial");
  manager.removeEventProperty("never there");
  EXPECT_EQ(Value(open().eventProperties()), (Value{{"plan", "pro"}, {"seats", "3"}}));

  manager.resetEventProperties();
  EXPECT_TRUE(manager.eventProperties().empty());
  EXPECT_EQ(stored("eventProperties"), Value(Dictionary()));
}

TEST_F(KIIdentityManagerTest, RemovesItsThreeKeysAndNoOther) {
  for (const char* key : {"identity", "userId", "parts"}) device.store(key, "text");
  device.store("eventProperties", {{"plan", "pro"}});
  KovaPersistentStore store(SimulatedDevice::kEnvironment);
  KIIdentityManager::removeFromPersistentStore(store);
  for (const char* key : {"identity", "userId", "eventProperties"}) EXPECT_FALSE(stored(key)) << key;
  EXPECT_TRUE(stored("parts"));
}

}  // namespace
