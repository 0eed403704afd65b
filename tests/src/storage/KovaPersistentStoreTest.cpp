#include "src/storage/store/KovaPersistentStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/foundation/NSUserDefaults.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;

namespace {

class KovaPersistentStoreTest : public testing::Test {
 protected:
  static KovaPersistentStore open(std::string_view environment = SimulatedDevice::kEnvironment) {
    return KovaPersistentStore(environment);
  }

  SimulatedDevice device;
};

TEST_F(KovaPersistentStoreTest, KeepsEnvironmentsApart) {
  KovaPersistentStore one = open("12345");
  KovaPersistentStore two = open("6");
  EXPECT_EQ(one.storageKeyForKey("queuedPageviews"), "kova_12345_queuedPageviews");
  one.setObject("a", "userId");
  two.setObject("b", "userId");
  EXPECT_EQ(NSUserDefaults::standardUserDefaults().stringForKey("kova_12345_userId"), "a");
  EXPECT_EQ(NSUserDefaults::standardUserDefaults().stringForKey("kova_6_userId"), "b");

  EXPECT_EQ(one.cacheUrl()->path(), directories().caches + "/kova-12345");
  EXPECT_EQ(two.cacheUrl()->path(), directories().caches + "/kova-6");
  const auto name = one.saveJSONObjectToDisk(Array{1});
  EXPECT_EQ(two.readJSONObjectDataFromDisk(*name), std::nullopt);

  two.clear();
  EXPECT_EQ(open("12345").stringForKey("userId"), "a");
  EXPECT_EQ(open("12345").readJSONObjectDataFromDisk(*name), "[1]");
  EXPECT_FALSE(open("6").stringForKey("userId"));
}

TEST_F(KovaPersistentStoreTest, KeepsCompactJSONInFilesNamedByUUIDs) {
  const auto name = open().saveJSONObjectToDisk(Array{{{"name", "é"}, {"list", Array{1, true, nullptr}}}});
  ASSERT_TRUE(name);
  EXPECT_THAT(*name, testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_THAT(device.batchFiles(), ElementsAre(*name));
  const KovaPersistentStore store = open();
  EXPECT_EQ(store.readJSONObjectDataFromDisk(*name), R"([{"name":"é","list":[1,true,null]}])");

  EXPECT_FALSE(store.saveJSONObjectToDisk(Array{std::nan("")}));
  EXPECT_FALSE(store.saveJSONObjectToDisk("no collection"));
  EXPECT_THAT(device.batchFiles(), ElementsAre(*name));

  store.removeJSONObjectDataFromDisk("never there");
  store.removeJSONObjectDataFromDisk("");
  EXPECT_THAT(device.batchFiles(), ElementsAre(*name));
  store.removeJSONObjectDataFromDisk(*name);
  EXPECT_THAT(device.batchFiles(), testing::IsEmpty());
  EXPECT_FALSE(store.readJSONObjectDataFromDisk(*name));
}

TEST_F(KovaPersistentStoreTest, ReadsAndRemovesNothingOutsideItsDirectory) {
  const KovaPersistentStore store = open();
  const std::string outside = directories().caches + "/outside";
  std::ofstream(outside) << "[1]";
  std::filesystem::create_directory(device.batchDirectory() + "/below");
  std::ofstream(device.batchDirectory() + "/below/file") << "[1]";
  std::ofstream(device.batchDirectory() + "/any name..") << "[2]";
  for (const char* name : {"../outside", "below/file", "/etc/passwd", "..", ".", ""}) {
    EXPECT_FALSE(store.readJSONObjectDataFromDisk(name)) << name;
    store.removeJSONObjectDataFromDisk(name);
  }
  EXPECT_TRUE(std::filesystem::exists(outside));
  EXPECT_TRUE(std::filesystem::exists(device.batchDirectory() + "/below/file"));
  EXPECT_EQ(store.readJSONObjectDataFromDisk("any name.."), "[2]");
}

TEST_F(KovaPersistentStoreTest, DoesWithoutFilesWhereThereIsNoDirectory) {
  const KovaPersistentStore disabled(SimulatedDevice::kEnvironment, KovaPersistentStore::JSONStore::Disabled);
  std::filesystem::create_directories(directories().caches);
  std::ofstream(device.batchDirectory()) << "a regular file";
  KovaPersistentStore blocked = open();
  for (const KovaPersistentStore* store : {&disabled, static_cast<const KovaPersistentStore*>(&blocked)}) {
    EXPECT_FALSE(store->cacheUrl());
    EXPECT_FALSE(store->saveJSONObjectToDisk(Array{1}));
    EXPECT_FALSE(store->readJSONObjectDataFromDisk(""));
    store->removeJSONObjectDataFromDisk("anything");
  }
  blocked.setObject("a", "userId");
  blocked.clear();
  EXPECT_FALSE(open().stringForKey("userId"));
  EXPECT_TRUE(std::filesystem::is_regular_file(device.batchDirectory()));
}

TEST_F(KovaPersistentStoreTest, ClearsEverythingThatIsTheLibrarysAndNothingElse) {
  KovaPersistentStore store = open();
  std::istringstream words(
      "queuedPageviews parts queuedMessageBatches identity userId eventProperties pageviewId "
      "pageviewProperties sessionProperties sessionId unreadableBatchFile lifecycleEventVersion");
  const std::vector<std::string> own(std::istream_iterator<std::string>(words), {});
  for (const std::string& key : own) store.setObject("text", key);
  store.setObject("text", "somebodyElses");
  store.saveJSONObjectToDisk(Array{1});
  store.clear();
  for (const std::string& key : own) EXPECT_FALSE(device.stored(key)) << key;
  EXPECT_TRUE(device.stored("somebodyElses"));
  EXPECT_THAT(device.batchFiles(), testing::IsEmpty());
  EXPECT_TRUE(open().saveJSONObjectToDisk(Array{3}));
}

using Counts = std::array<std::size_t, 3>;  // URLs, messages, batches
class KovaPersistentStorePurgeTest : public testing::TestWithParam<std::pair<Counts, bool>> {};

// By the limits that the tracker gives, at its start.
TEST_P(KovaPersistentStorePurgeTest, ResetsAStoreThatHasGrownPastItsBounds) {
  const auto& [counts, isPurged] = GetParam();
  const std::pair<const char*, Value> items[] = {{"queuedPageviews", "h?a=1"},
                                                 {"parts", Dictionary()},
                                                 {"queuedMessageBatches", {{"messagesIdentifier", "gone"}}}};
  SimulatedDevice device;
  device.setOnline(false);
  device.store("userId", "42");
  device.store("identity", "ada");
  for (std::size_t i = 0; i < 3; ++i)
    device.store(items[i].first, Array(std::vector<Value>(counts[i], items[i].second)));
  KovaPersistentStore(SimulatedDevice::kEnvironment).saveJSONObjectToDisk(Array{1});

  device.start();
  EXPECT_EQ(device.log(),
            std::vector<std::string>(
                isPurged, "Kova: Warning: Data stores contain excessive event data. Resetting Kova."));
  EXPECT_EQ(device.stored("identity").has_value(), !isPurged);
  EXPECT_EQ(Kova::userId() == "42", !isPurged);
  EXPECT_EQ(device.batchFiles().size(), isPurged ? 0u : 1u);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto left = device.stored(items[i].first);
    EXPECT_EQ(left ? left->array().size() : 0, isPurged ? 0 : counts[i]) << items[i].first;
  }
}

INSTANTIATE_TEST_SUITE_P(Limits, KovaPersistentStorePurgeTest,
                         testing::Values(std::pair(Counts{299, 309, 209}, false),
                                         std::pair(Counts{300, 0, 0}, true),
                                         std::pair(Counts{0, 310, 0}, true),
                                         std::pair(Counts{0, 0, 210}, true)));

}  // namespace
