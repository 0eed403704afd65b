#include "src/storage/store/KIStorePlace.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>

#include "platform/foundation/internal/FileDescriptor.h"
#include "tests/src/storage/QueueFixture.h"
#include "tests/support/ResourceLimit.h"

using namespace platform;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class KIStorePlaceTest : public QueueTest {
 protected:
  static std::shared_ptr<KovaPersistentStore> take() {
    return std::make_shared<KovaPersistentStore>(KIStorePlace::take(SimulatedDevice::kEnvironment));
  }
  static std::size_t waitingUrls(const KovaPersistentStore& from) {
    return from.arrayForKey("queuedPageviews").value_or(Array()).size();
  }
};

TEST_F(KIStorePlaceTest, BelongsToOneProcessAtATime) {
  auto first = take();
  auto second = take();
  EXPECT_EQ(first->placeName(), "12345");
  EXPECT_EQ(second->placeName(), "12345-2");
  EXPECT_THAT(first->storesLeft(), IsEmpty());
  first = nullptr;
  EXPECT_EQ(take()->placeName(), "12345");
  second = nullptr;
  EXPECT_THAT(take()->storesLeft(), SizeIs(1));
}

TEST_F(KIStorePlaceTest, IsTakenOnADiskThatIsFull) {
  const auto full = ResourceLimit::fileSize(0);
  const auto first = take();
  EXPECT_EQ(take()->placeName(), "12345-2");
}

TEST_F(KIStorePlaceTest, IsSharedByNobodyWhenThereAreNoMore) {
  std::vector<std::shared_ptr<KovaPersistentStore>> all(16);
  for (auto& each : all) each = take();
  EXPECT_EQ(all.back()->placeName(), "12345-16");
  const auto another = take();
  EXPECT_FALSE(another->takePlace());
  all[6] = nullptr;
  EXPECT_TRUE(another->takePlace());
  EXPECT_EQ(another->placeName(), "12345-7");
}

TEST_F(KIStorePlaceTest, ThatIsEmptyGetsNoFolderAgain) {
  const auto first = take();
  take()->erase();
  EXPECT_THAT(first->storesLeft(), SizeIs(1));
  EXPECT_FALSE(std::filesystem::exists(device.batchDirectory() + "-2"));
}

// As of two processes that look for a place at once.
TEST_F(KIStorePlaceTest, IsLeftToWhoeverHasALockOfIt) {
  take();
  const FileDescriptor lock(open((directories().applicationSupport + "/kova-12345.lock").c_str(), O_RDONLY));
  ASSERT_EQ(flock(lock.number(), LOCK_SH), 0);
  EXPECT_EQ(take()->placeName(), "12345-2");
}

TEST_F(KIStorePlaceTest, IsTakenWhenItCanBeToldWhoHasIt) {
  const auto first = take();
  std::shared_ptr<KovaPersistentStore> second;
  {
    const auto none = ResourceLimit::descriptors(0);
    second = take();
    EXPECT_FALSE(second->takePlace());
    EXPECT_FALSE(second->setObject(Value("2"), "userId"));
    EXPECT_TRUE(second->stringForKey("userId").isUnreadable());
    EXPECT_FALSE(second->isAllStored());
    EXPECT_FALSE(second->cacheUrl());
  }
  ASSERT_TRUE(second->takePlace());
  EXPECT_EQ(second->placeName(), "12345-2");
  EXPECT_TRUE(second->setObject(Value("2"), "userId"));
  EXPECT_TRUE(second->cacheUrl());
}

TEST_F(KIStorePlaceTest, GivesWhatIsLeftInItToAnotherUntilHalfOfEachQueueIsTaken) {
  constexpr KovaQueueManager::Limits limits{4, 4, 4};
  queues = nullptr;
  const auto first = take();
  const auto second = take();
  second->setObject(Array{"x?1", "x?2", "x?3"}, "queuedPageviews");
  second->setObject(Array{{{"n", 1}}, {{"n", 2}}, {{"n", 3}}}, "parts");
  const auto file = second->saveJSONObjectToDisk(Array{{{"n", 1}}}).value();
  second->setObject(Array{{{"messagesIdentifier", file}}}, "queuedMessageBatches");
  first->setObject(Array{"x?0"}, "queuedPageviews");
  ASSERT_TRUE(KovaQueueManager::isAnythingQueuedIn(*second));

  queues = std::make_shared<KovaQueueManager>(first, limits);
  queues->enqueueMessage(unenriched(0));
  queues->takeOver(second);
  EXPECT_EQ(stored("queuedPageviews"), R"(["x?0","x?1"])");
  EXPECT_EQ(stored("parts"), R"([{"n":0},{"n":1}])");
  EXPECT_EQ(waitingUrls(*second), 2u);
  EXPECT_EQ(waiting(), (Counts{2, 2, 1}));
  EXPECT_THAT(device.batchFiles(), SizeIs(1));
  queues->takeOver(second);
  EXPECT_EQ(waiting(), (Counts{2, 2, 1})) << "there is no more room";

  first->setObject(Array(), "queuedPageviews");
  first->setObject(Array(), "parts");
  queues = nullptr;
  queues = std::make_shared<KovaQueueManager>(first, limits);
  queues->takeOver(second);
  EXPECT_EQ(stored("queuedPageviews"), R"(["x?2","x?3"])");
  EXPECT_EQ(stored("parts"), R"([{"n":2},{"n":3}])");
  EXPECT_FALSE(KovaQueueManager::isAnythingQueuedIn(*second));
  queues->synchronizeFiles();
  device.drain();
  EXPECT_FALSE(std::filesystem::exists(device.batchDirectory() + "-2"));
}

TEST_F(KIStorePlaceTest, GivesABatchOnceThatAnEndedProcessHadBegunToTakeOver) {
  queues = nullptr;
  const auto first = take();
  const auto second = take();
  const auto third = take();
  const auto file = first->saveJSONObjectToDisk(Array{{{"n", 1}}}).value();
  for (const auto& left : {second, third})
    left->setObject(Array{{{"messagesIdentifier", file}}}, "queuedMessageBatches");
  queues = std::make_shared<KovaQueueManager>(first, KovaQueueManager::Limits{6, 6, 6});
  for (const auto& left : {second, third}) queues->takeOver(left);
  EXPECT_EQ(waiting(), (Counts{0, 0, 1}));
  EXPECT_FALSE(KovaQueueManager::isAnythingQueuedIn(*third));
}

// The next start takes up the files that have come, and behind them what the row still names.
TEST_F(KIStorePlaceTest, GivesItsFilesOldestFirstShouldTheProcessThatTakesThemEnd) {
  const auto first = take();
  const auto second = take();
  std::vector<std::string> files;
  for (int i = 0; i < 8; ++i) files.push_back(second->saveJSONObjectToDisk(Array{i}).value());
  std::filesystem::create_directory(device.batchDirectory() + "/" + files[4]);  // in the way of the fifth
  EXPECT_FALSE(first->takeFilesOf(*second, files, {}));
  files.resize(5);
  EXPECT_THAT(device.batchFiles(), testing::UnorderedElementsAreArray(files));
}

TEST_F(KIStorePlaceTest, IsErasedWithAllOthersUnlessSomebodyHasIt) {
  queues = nullptr;
  auto first = take();
  auto second = take();
  first->setObject(Value("1"), "userId");
  second->setSharedObject(Value("2"), "userId");
  EXPECT_FALSE(second->eraseForAll()) << "the first one lives";
  EXPECT_EQ(device.stored("userId"), std::nullopt);
  second = take();
  second->setObject(Value("2"), "userId");
  second = nullptr;
  EXPECT_TRUE(first->eraseForAll());
  for (const auto& entry : std::filesystem::directory_iterator(directories().applicationSupport))
    EXPECT_NE(entry.path().filename().string().substr(0, 5), "kova-");
}

}  // namespace
