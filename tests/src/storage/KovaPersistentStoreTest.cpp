#include "src/storage/store/KovaPersistentStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

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
  const char* own[] = {"queuedPageviews",
                       "parts",
                       "queuedMessageBatches",
                       "identity",
                       "userId",
                       "eventProperties",
                       "pageviewId",
                       "pageviewProperties",
                       "sessionProperties",
                       "sessionId",
                       "unreadableBatchFile",
                       "lifecycleEventVersion"};
  for (const char* key : own) store.setObject("text", key);
  store.setObject("text", "somebodyElses");
  store.saveJSONObjectToDisk(Array{1});
  store.saveJSONObjectToDisk(Array{2});

  store.clear();
  for (const char* key : own) EXPECT_FALSE(device.stored(key)) << key;
  EXPECT_TRUE(device.stored("somebodyElses"));
  EXPECT_THAT(device.batchFiles(), testing::IsEmpty());
  EXPECT_TRUE(open().saveJSONObjectToDisk(Array{3}));
}

struct PurgeCase {
  std::size_t urls, messages, batches;
  bool isPurged;
};
class KovaPersistentStorePurgeTest : public KovaPersistentStoreTest,
                                     public testing::WithParamInterface<PurgeCase> {
 protected:
  template <class Item>
  void fill(const char* key, std::size_t count, const Item& item) {
    device.store(key, Array(std::vector<Value>(count, Value(item))));
  }
  std::size_t storedCount(const char* key) const {
    const auto value = device.stored(key);
    return value ? value->array().size() : 0;
  }
};

// By the limits that the tracker gives, at its start.
TEST_P(KovaPersistentStorePurgeTest, ResetsAStoreThatHasGrownPastItsBounds) {
  const PurgeCase& given = GetParam();
  device.store("userId", "42");
  device.store("identity", "ada");
  fill("queuedPageviews", given.urls, "h?a=1");
  fill("parts", given.messages, Dictionary());
  fill("queuedMessageBatches", given.batches, Dictionary{{"messagesIdentifier", "gone"}});
  open().saveJSONObjectToDisk(Array{1});

  device.setOnline(false);
  device.start();
  const std::string warning = "Kova: Warning: Data stores contain excessive event data. Resetting Kova.";
  EXPECT_EQ(device.logLinesWith("excessive"), std::vector(given.isPurged, warning));
  EXPECT_EQ(device.stored("identity").has_value(), !given.isPurged);
  EXPECT_EQ(Kova::userId() == "42", !given.isPurged);
  EXPECT_EQ(device.batchFiles().size(), given.isPurged ? 0u : 1u);
  EXPECT_EQ(storedCount("queuedPageviews"), given.isPurged ? 0 : given.urls);
  EXPECT_EQ(storedCount("parts"), given.isPurged ? 0 : given.messages);
  EXPECT_EQ(storedCount("queuedMessageBatches"), given.isPurged ? 0 : given.batches);
}

INSTANTIATE_TEST_SUITE_P(Limits, KovaPersistentStorePurgeTest,
                         testing::Values(PurgeCase{299, 309, 209, false}, PurgeCase{300, 0, 0, true},
                                         PurgeCase{0, 310, 0, true}, PurgeCase{0, 0, 210, true}));

}  // namespace
