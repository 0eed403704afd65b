#include "src/identity/KIIdentityManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <regex>
#include <semaphore>
#include <thread>

#include "platform/foundation/NSUserDefaults.h"
#include "src/identity/KIIdUtil.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

// The expected ids were computed apart from this code, with Python's hashlib. The MD5 of "a" is
// 0cc175b9c0f1b6a831c399e269772661: its bytes 0-3, last first, are b975c10c, and of bytes 8-15, last first,
// the low 21 bits are 19c331: 0x19c331b975c10c.
TEST(KIIdUtil, DerivesTheSameIdFromTheSameTextForEver) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {"a", 7251492750082316},
      {"0", 8980151767453135},
      {"ada@example.com", 5742933229122622},
      // A UTF-16 unit counts as one byte, without its high bits: e9, where UTF-8 has two.
      {"café", 6835247015534486},
      {"š", 7251492750082316},  // U+0161, as the letter a
      {"aš", 1247980237366337},
      {"😀", 2783353468441025},  // D83D and DE00, as 3d 00
      // Both ends are trimmed, and blanks are nobody.
      {" \r\n a\t\n", 7251492750082316},
      {"\u00A0a\u2028", 7251492750082316},
      {"", 0},
      {" \t\r\n", 0}};
  for (const auto& [text, id] : cases) EXPECT_EQ(KIIdUtil::computeUserId(text), id) << text;
  EXPECT_NE(KIIdUtil::computeUserId("a a"), KIIdUtil::computeUserId("aa"));
}

class KIIdentityManagerTest : public testing::Test {
 protected:
  // As after a restart: everything comes from what is stored.
  static KIIdentityManager open() {
    return KIIdentityManager(std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment));
  }
  static std::string textOf(const KIIdentityManager& manager) {
    return manager.ampersandPrefixedUserInfoQueryParameters() +
           (manager.isAnonymous() ? " anonymous " : " ") + json(manager.userInfo()) + " " +
           json(manager.eventProperties());
  }

  SimulatedDevice device;
};

TEST_F(KIIdentityManagerTest, MakesUpAUserOnTheFirstStartAndKeepsItOnTheNext) {
  const KIIdentityManager first = open();
  EXPECT_TRUE(first.isFreshStart());
  EXPECT_THAT(first.userId(), testing::MatchesRegex("[0-9]{16}"));
  const KIIdentityManager second = open();
  EXPECT_FALSE(second.isFreshStart());
  for (const KIIdentityManager* each : {&first, &second})
    EXPECT_EQ(textOf(*each), "&u=" + first.userId() + R"( anonymous {"id":")" + first.userId() + R"("} {})");

  device.store("identity", "a");
  EXPECT_EQ(open().userId(), first.userId());
  KovaPersistentStore(SimulatedDevice::kEnvironment).removeObjectForKey("userId");
  EXPECT_EQ(open().userId(), "7251492750082316") << "derived, where none is stored";
  EXPECT_FALSE(open().isFreshStart());
  EXPECT_EQ(device.stored("userId"), Value("7251492750082316"));
}

TEST_F(KIIdentityManagerTest, IsStoredAfterEachChange) {
  device.store("userId", "42");
  auto manager = open();
  const Dictionary freePlan{{"plan", "free"}}, proPlan{{"plan", "pro"}, {"seats", "3"}};
  const std::pair<std::function<void()>, std::string> steps[] = {
      {[&] { manager.setEventProperties(freePlan); }, R"(&u=42 anonymous {"id":"42"} {"plan":"free"})"},
      {[&] { EXPECT_FALSE(manager.resetIdentity()); }, R"(&u=42 anonymous {"id":"42"} {"plan":"free"})"},
      {[&] { manager.setUrlEncodedIdentity("ada%40home"); },
       R"(&u=42&i=ada%40home {"id":"42","identity":"ada@home"} {"plan":"free"})"},
      {[&] { manager.addSanitizedEventProperties(proPlan); },
       R"(&u=42&i=ada%40home {"id":"42","identity":"ada@home"} {"plan":"pro","seats":"3"})"},
      {[&] { manager.removeEventProperty("plan"); },
       R"(&u=42&i=ada%40home {"id":"42","identity":"ada@home"} {"seats":"3"})"},
      // In plain decimal: a derived id is not padded.
      {[&] { manager.setUrlEncodedIdentity("  ", true); },
       R"(&u=0&i=   {"id":"0","identity":"  "} {"seats":"3"})"},
      {[&] { manager.setUrlEncodedIdentity("a", false); },
       R"(&u=0&i=a {"id":"0","identity":"a"} {"seats":"3"})"},
      {[&] { manager.setUrlEncodedIdentity("a", true); },
       R"(&u=7251492750082316&i=a {"id":"7251492750082316","identity":"a"} {"seats":"3"})"},
      {[&] { EXPECT_TRUE(manager.resetIdentity()); }, R"(&u=NEW anonymous {"id":"NEW"} {"seats":"3"})"},
      {[&] { manager.resetEventProperties(); }, R"(&u=NEW anonymous {"id":"NEW"} {})"},
  };
  for (const auto& [step, expected] : steps) {
    step();
    const std::string text = std::regex_replace(expected, std::regex("NEW"), manager.userId());
    EXPECT_EQ(textOf(manager), text);
    EXPECT_EQ(textOf(open()), text);
    EXPECT_EQ(manager.isFreshStart(), text != expected);
  }
}

TEST_F(KIIdentityManagerTest, ChangesForOthersOnlyWhatNobodyElseHasChangedSinceTheEndedProcessWas) {
  device.store("userId", "42");
  const auto place = [] { return KIStorePlace::take(SimulatedDevice::kEnvironment); };
  KIIdentityManager first(std::make_shared<KovaPersistentStore>(place()));
  auto further = std::make_shared<KovaPersistentStore>(place());
  const auto finish = [&] { return KIIdentityManager(further, KIIdentityManager::Origin::Place); };
  KIIdentityManager(further).addSanitizedEventProperties({{"seat", "1"}, {"deck", "A"}, {"meal", "egg"}});

  finish().setUrlEncodedIdentity("ann");
  EXPECT_EQ(device.stored("identity"), Value("ann")) << "nobody else has said who it is";
  device.store("identity", "bob");
  first.addSanitizedEventProperties({{"seat", "2"}});
  auto late = finish();
  late.setUrlEncodedIdentity("ann2");
  late.addSanitizedEventProperties({{"seat", "3"}, {"deck", "B"}});
  late.removeEventProperty("meal");
  EXPECT_EQ(device.stored("identity"), Value("bob"));
  EXPECT_EQ(finish().urlEncodedIdentity(), "ann2");
  EXPECT_EQ(json(*device.stored("eventProperties")), R"({"seat":"2","deck":"B"})");
  EXPECT_EQ(json(finish().eventProperties()), R"({"seat":"3","deck":"B"})");
}

// The other one's change comes between this one's and the step of the store that brings it.
TEST_F(KIIdentityManagerTest, KeepsWhatAnotherProcessChangesInTheSameMoment) {
  const auto store = std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  KIIdentityManager one(store);
  one.addSanitizedEventProperties({{"seat", "1"}, {"deck", "A"}});
  auto other = open();
  store->changeInOneStep([&] {
    one.addSanitizedEventProperties({{"seat", "2"}});
    other.addSanitizedEventProperties({{"meal", "egg"}});
    other.removeEventProperty("deck");
  });
  EXPECT_EQ(json(*device.stored("eventProperties")), R"({"seat":"2","meal":"egg"})");
  EXPECT_EQ(json(one.eventProperties()), R"({"seat":"2","deck":"A"})");
}

// Who it is stands in two rows, which others change in one step.
TEST_F(KIIdentityManagerTest, TakesUpNobodyWithTheNameOfAnother) {
  constexpr int kTimes = 4000;
  device.store("userId", "0");
  std::counting_semaphore<kTimes> mayChange(0);
  std::thread other([&mayChange] {
    for (int user = 1; user <= kTimes; ++user) {  // every second one has a name
      mayChange.acquire();
      NSUserDefaults::standardUserDefaults().setObjects(
          {{"kova_12345_userId", Value(std::to_string(user))},
           {"kova_12345_identity", user % 2 ? std::optional<Value>("ann") : std::nullopt}});
    }
  });
  const auto store = std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  for (int i = 0; i < kTimes; ++i) {
    mayChange.release();
    const KIIdentityManager manager(store);
    EXPECT_EQ(std::stoi(manager.userId()) % 2, manager.isAnonymous() ? 0 : 1);
  }
  other.join();
}

TEST_F(KIIdentityManagerTest, TellsIdentitiesApart) {
  auto manager = open();
  EXPECT_FALSE(manager.hasIdentityDifferentFromUrlEncodedIdentity("anything"));
  manager.setUrlEncodedIdentity("ada%40example.com");
  EXPECT_FALSE(manager.hasIdentityDifferentFromUrlEncodedIdentity("ada%40example.com"));
  EXPECT_TRUE(manager.hasIdentityDifferentFromUrlEncodedIdentity("ada@example.com"));
  EXPECT_TRUE(manager.hasIdentityDifferentFromUrlEncodedIdentity("Ada%40example.com"));
}

}  // namespace
