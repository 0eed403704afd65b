// A store that cannot be read for a while, because another process holds the lock of its directory.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/ValueCoding.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"
#include "src/identity/KIIdentityManager.h"
#include "src/storage/KICallLog.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

class UnreadableStoreTest : public testing::Test {
 protected:
  UnreadableStoreTest() {
    write("com.example.app", {{"kova_12345_userId", R"("42")"},
                              {"kova_12345_identity", R"("ada")"},
                              {"kova_12345_eventProperties", R"({"plan":"pro"})"},
                              {"kova_12345_queuedPageviews", R"(["h?stored=1&u=42"])"}});
    write("io.kova.lifecycleEvents", {{"version", R"("1.0")"}, {"build", R"("1")"}});
    makeUnreadable();
  }
  ~UnreadableStoreTest() override { makeReadable(); }

  // As an earlier process would have.
  static void write(const std::string& suite, const UserDefaultsDatabase::Changes& changes) {
    EXPECT_TRUE(UserDefaultsDatabase(directories().preferences + "/" + suite + ".sqlite").write(changes));
  }
  void makeUnreadable() {
    directory_ = open(directories().preferences.c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(flock(directory_, LOCK_EX), 0);
  }
  void makeReadable() {
    if (directory_ >= 0) close(std::exchange(directory_, -1));
  }
  // Who sent each message, and what it was.
  std::vector<std::string> senders() const {
    std::vector<std::string> all;
    for (const Dictionary& message : device.receivedMessages()) {
      const Dictionary& event = message.find("event")->dictionary();
      all.push_back(message.find("user")->dictionary().find("id")->string().str() + ": " +
                    event.begin()->first.string().str());
    }
    return all;
  }
  // What the next start would have to do, were the process killed now.
  std::size_t leftCalls() const {
    const std::string path = directories().applicationSupport + "/kova-12345.calls";
    std::filesystem::copy_file(path, path + ".now", std::filesystem::copy_options::overwrite_existing);
    KICallLog calls;
    calls.open(path + ".now");
    const auto left = calls.takeLeft({});
    for (const auto& call : left.calls)
      EXPECT_NE(left.sessions.at(call.session).find(Kova::sessionId().value()), std::string::npos);
    return left.calls.size();
  }
  std::shared_ptr<KovaPersistentStore> openStore() const {
    return std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  }

  SimulatedDevice device;

 private:
  int directory_;
};

TEST_F(UnreadableStoreTest, WhatIsRecordedMeanwhileTakesTheStoredUser) {
  device.start();
  Kova::track("Early");
  Kova::addEventProperties({{"seats", "3"}});
  device.advance(14);
  EXPECT_EQ(device.service.requestCount(), 0u);
  EXPECT_EQ(Kova::userId(), "");
  EXPECT_EQ(leftCalls(), 3u) << "with the pageview of the start";

  makeReadable();
  device.advance(0.5);
  EXPECT_EQ(Kova::userId(), "42");
  EXPECT_EQ(Kova::identity(), "ada");
  device.runUntilRequests(3);
  EXPECT_THAT(senders(), testing::ElementsAre("42: customEvent")) << "no install event either";
  const auto targets = device.receivedTargets("/h");
  ASSERT_EQ(targets.size(), 2u);
  EXPECT_NE(targets[0].find("&u=42&i=ada"), std::string::npos) << targets[0];
  EXPECT_NE(targets[0].find("&z=1"), std::string::npos) << targets[0];
  EXPECT_TRUE(targets[1].starts_with("/h?stored=1&u=42&st=")) << targets[1];
  EXPECT_EQ(device.stored("eventProperties"), (Value{{"plan", "pro"}, {"seats", "3"}}));
  EXPECT_EQ(leftCalls(), 0u);
}

TEST_F(UnreadableStoreTest, AfterAnUploadIntervalAMadeUpUserGoesOnUntilTheStoredOneCanBeRead) {
  const auto upgraded = device.options();
  upgraded->setTestOnlyAppVersion("2.0");
  device.start(upgraded);
  Kova::track("Early");
  Kova::removeEventProperty("plan");
  device.advance(15);
  device.runUntilRequests(2);
  const std::string madeUp = Kova::userId().value();
  EXPECT_THAT(madeUp, testing::MatchesRegex("[0-9]{16}"));
  EXPECT_THAT(senders(), testing::ElementsAre(madeUp + ": customEvent"));
  EXPECT_EQ(leftCalls(), 2u) << "the event's batch has a file; pageview and properties are in memory alone";

  makeReadable();
  device.advance(30);
  device.runUntilRequests(3);
  EXPECT_TRUE(device.receivedTargets("/h").back().starts_with("/h?stored=1"));
  EXPECT_EQ(Kova::userId(), "42");
  EXPECT_EQ(device.stored("userId"), Value("42"));
  EXPECT_EQ(device.stored("eventProperties"), Value(Dictionary()));
  EXPECT_EQ(leftCalls(), 0u);
  device.advance(15);
  device.runUntilRequests(4);
  EXPECT_EQ(senders().back(), "42: lifecycleEvent") << "the upgrade is told once it can be stored";
}

// What is left in the place of an ended process.
class LeftPlaceTest : public UnreadableStoreTest {
 protected:
  LeftPlaceTest() {
    makeReadable();
    auto first = takePlace();
    auto second = takePlace();
    write("com.example.app", {{"kova_12345-2_userId", R"("77")"}});
    KICallLog calls;
    calls.open(directories().applicationSupport + "/kova-12345-2.calls");
    calls.note([](ByteBuffer& bytes) {
      bytes.add('i');  // identify
      appendEncoded(bytes, std::string_view("bob"));
    });
  }
  static KIStorePlace takePlace() { return KIStorePlace::take(SimulatedDevice::kEnvironment); }
  void expectBobNamedInItsOwnPlace() {
    Kova::track("Now");
    for (int i = 0; i < 4; ++i) device.upload();
    const auto targets = device.receivedTargets("/api/identify_v3");
    ASSERT_EQ(targets.size(), 1u);
    EXPECT_NE(targets[0].find("&u=77"), std::string::npos) << targets[0];
    EXPECT_NE(targets[0].find("&i=bob"), std::string::npos) << targets[0];
    EXPECT_EQ(Kova::identity(), "ada");
    EXPECT_EQ(device.stored("identity"), Value("ada")) << "said later than what was left undone";
  }
};

TEST_F(LeftPlaceTest, IsDoneAsItsUserWhenTheProcessThatComesThereCannotReadItAtFirst) {
  const auto first = takePlace();
  makeUnreadable();
  device.start();
  makeReadable();
  expectBobNamedInItsOwnPlace();
}

// A power failure may take a batch file, and its row, that came of a journal.
TEST_F(LeftPlaceTest, KeepsItsCallsUntilWhatCameOfThemIsOnDisk) {
  const std::string calls = directories().applicationSupport + "/kova-12345-2.calls";
  const auto size = [&calls] { return std::filesystem::file_size(calls); };
  const auto before = size();
  device.start();
  EXPECT_GE(size(), before);
  Kova::track("Now");
  device.upload();
  device.advance(15);
  EXPECT_FALSE(std::filesystem::exists(calls));
}

TEST_F(LeftPlaceTest, IsErasedThoughItIsNotOnDiskYet) {
  device.start();
  EXPECT_TRUE(Kova::eraseStored(SimulatedDevice::kEnvironment));
}

TEST_F(LeftPlaceTest, IsLookedForWhenAPlaceIsTakenLate) {
  std::vector<KIStorePlace> all;
  for (int i = 0; i < 16; ++i) all.push_back(takePlace());
  device.start();
  all.clear();
  expectBobNamedInItsOwnPlace();
}

// In a place of their own, when the process that is starting has another.
TEST_F(LeftPlaceTest, SendsAsManyEventsAsAreLeftThere) {
  const auto first = takePlace();
  const std::string files = directories().applicationSupport + "/kova-12345-";
  device.start();
  Kova::track("First");
  device.drain();
  for (int i = 0; i < 250; ++i) Kova::track("Left");
  std::filesystem::copy(files + "2.calls", files + "left");
  device.upload();
  Kova::shutdown(0);
  device.drain();
  {
    const auto second = takePlace(), third = takePlace();
    std::filesystem::rename(files + "left", files + "3.calls");
  }
  device.start();
  Kova::track("Now");  // and with it a pageview, before which nothing is sent
  for (int i = 0; i < 4; ++i) device.upload();
  const auto isEvent = [](const std::string& sender) { return sender.ends_with("customEvent"); };
  const auto all = senders();
  EXPECT_EQ(std::count_if(all.begin(), all.end(), isEvent), 1 + 250 + 250 + 1);
}

// With room for no more places as with none for a lock file.
TEST_F(UnreadableStoreTest, WithoutAPlaceItGoesOnAsTheStoredUserInMemory) {
  makeReadable();
  std::vector<KIStorePlace> all;
  for (int i = 0; i < 16; ++i) all.push_back(KIStorePlace::take(SimulatedDevice::kEnvironment));
  device.start();
  EXPECT_EQ(Kova::userId(), "42");
  EXPECT_EQ(Kova::identity(), "ada");
  Kova::addEventProperties({{"seats", "3"}});
  Kova::track("Early");
  device.runUntilRequests(2);
  EXPECT_THAT(senders(), testing::ElementsAre("42: customEvent"));
  EXPECT_EQ(*device.receivedMessages()[0].find("properties"),
            (Value{{"plan", {{"string", "pro"}}}, {"seats", {{"string", "3"}}}}));
  Kova::identify("bob");
  device.drain();
  EXPECT_EQ(device.stored("identity"), Value("ada"));

  all.clear();
  device.advance(0.5);
  EXPECT_EQ(device.stored("eventProperties"), (Value{{"plan", "pro"}, {"seats", "3"}}));
  EXPECT_EQ(device.stored("identity"), Value("bob"));
}

// Their process has ended between moving them there and naming them in its row.
TEST_F(UnreadableStoreTest, FilesInALeftPlaceThatNoRowNamesAreTakenOver) {
  makeReadable();
  {
    const auto first = KIStorePlace::take(SimulatedDevice::kEnvironment);
    KovaPersistentStore second(KIStorePlace::take(SimulatedDevice::kEnvironment));
    second.saveJSONObjectToDisk(Array{{{"n", 1}}});
  }
  device.start();
  EXPECT_THAT(device.batchFiles(), testing::SizeIs(1));
}

TEST_F(UnreadableStoreTest, WhatTakesLongIsDoneAfterTheStartAndBeforeWhatComesThen) {
  makeReadable();
  NSFileManager().createDirectory(directories().applicationSupport, true);
  {
    KICallLog calls;
    calls.open(directories().applicationSupport + "/kova-12345.calls");
    calls.note("e" + std::string(200'000, 'x'));
    calls.note([](ByteBuffer& bytes) {
      bytes.add('r');  // reset
    });
  }
  device.start();
  EXPECT_EQ(Kova::userId(), "42");
  EXPECT_EQ(Kova::identity(), "ada") << "not yet";
  Kova::track("Now");
  device.upload();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_THAT(senders(), testing::ElementsAre("42: ", Kova::userId().value() + ": customEvent"));
}

TEST_F(UnreadableStoreTest, AStoreThatIsResetLateKeepsTheBatchesMadeMeanwhile) {
  std::string urls = R"(["h")";
  for (int i = 1; i < 300; ++i) urls += R"(,"h")";
  makeReadable();
  write("com.example.app", {{"kova_12345_queuedPageviews", urls + "]"}});
  makeUnreadable();
  device.setOnline(false);
  device.start();
  Kova::track("Early");
  device.advance(15);
  device.application->enterBackground();
  device.drain();
  const auto made = device.batchFiles();
  ASSERT_EQ(made.size(), 1u);
  makeReadable();
  device.advance(15);
  EXPECT_EQ(device.logLinesWith("Resetting Kova").size(), 1u);
  EXPECT_EQ(device.batchFiles(), made);
}

class SecondInitializeTest : public UnreadableStoreTest, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(IsReadable, SecondInitializeTest, testing::Bool());

// A wrapper and its app may both initialise, and most apps name their user at every start.
TEST_P(SecondInitializeTest, NeitherWaitsForAStoreThatCanBeReadNorMakesUpAUser) {
  const auto options = device.options();
  options->setDebug(true);
  device.start(options);
  Kova::track("Early");
  Kova::identify("ada");
  if (GetParam()) makeReadable();
  device.start();
  EXPECT_EQ(Kova::userId(), GetParam() ? "42" : "");
  Kova::track("Late");
  makeReadable();
  device.advance(0.5);
  EXPECT_EQ(Kova::userId(), "42");
  device.advance(15);
  device.runUntil([this] { return senders().size() == 2; });
  EXPECT_THAT(senders(), testing::Each("42: customEvent"));
  EXPECT_EQ(device.stored("userId"), Value("42"));
  EXPECT_TRUE(device.receivedTargets("/api/identify_v3").empty()) << "it is the stored name";
  EXPECT_EQ(device.logLinesWith("No version change").size(), 1u);
}

TEST_F(UnreadableStoreTest, HoweverOftenTheHostInitialisesItIsHeldForOneIntervalInAll) {
  device.start();
  device.advance(10);
  device.start();
  device.advance(4.9);
  EXPECT_EQ(Kova::userId(), "");
  device.advance(0.1);
  const std::string madeUp = Kova::userId().value();
  EXPECT_THAT(madeUp, testing::MatchesRegex("[0-9]{16}"));
  device.start();
  Kova::identify("bob");
  device.drain();
  EXPECT_EQ(Kova::identity(), "bob");
  EXPECT_EQ(Kova::userId(), madeUp);
}

TEST_F(UnreadableStoreTest, QueuesAreMergedWithinTheirLimits) {
  KovaQueueManager queues(openStore(), {3, 2, 2});
  for (int i = 0; i < 4; ++i) {
    queues.enqueueUrlString("h?new=" + std::to_string(i));
    queues.enqueueMessage({{"n", i}});
  }
  EXPECT_FALSE(queues.load());
  makeReadable();
  EXPECT_TRUE(queues.load());
  EXPECT_EQ(device.stored("queuedPageviews"), Value(Array{"h?stored=1&u=42", "h?new=0", "h?new=1"}));
  EXPECT_EQ(device.stored("parts"), Value(Array{{{"n", 2}}, {{"n", 3}}}));
}

TEST_F(UnreadableStoreTest, WhoWasRenamedOrResetMeanwhileStaysSo) {
  KIIdentityManager named(openStore()), reset(openStore()), untouched(openStore()), known(openStore()),
      nobody(openStore());
  for (KIIdentityManager* each : {&named, &reset, &untouched, &known, &nobody}) each->assumeUser();
  const std::string madeUp = reset.userId();
  named.setUrlEncodedIdentity("bob");
  known.setUrlEncodedIdentity("ada");
  reset.resetIdentity();
  nobody.resetIdentity();
  EXPECT_FALSE(reset.load());
  makeReadable();
  for (KIIdentityManager* each : {&untouched, &known}) {
    EXPECT_TRUE(each->load());
    EXPECT_EQ(each->ampersandPrefixedUserInfoQueryParameters(), "&u=42&i=ada");
  }
  EXPECT_TRUE(reset.load());
  EXPECT_EQ(reset.ampersandPrefixedUserInfoQueryParameters(), "&u=" + madeUp);
  EXPECT_FALSE(device.stored("identity"));
  EXPECT_TRUE(nobody.load());
  EXPECT_EQ(nobody.userId(), madeUp) << "an anonymous user stays who it is";
  EXPECT_EQ(device.stored("userId"), Value(madeUp));
  EXPECT_TRUE(named.load());
  EXPECT_EQ(device.stored("identity"), Value("bob"));
}

}  // namespace
