#include "src/storage/KIDiskSync.h"

#include <filesystem>
#include <fstream>

#include "tests/src/storage/QueueFixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class KIDiskSyncTest : public QueueTest {
 protected:
  // Long enough ago, and a second behind the write before it, so that a further write can be told from this
  // one.
  void write(const std::string& name) {
    std::ofstream(folder + name, std::ios::app) << "x";
    for (std::filesystem::path path(name); !path.empty(); path = path.parent_path())
      std::filesystem::last_write_time(folder + path.string(), lastWrite += std::chrono::seconds(1));
  }
  // Names below the folder, in their order.
  std::vector<std::string> synchronize() {
    synced.clear();
    disk->synchronize({folder + "batches", folder + "calls", folder + "missing"});
    device.drain();
    return synced;
  }

  const std::string folder = platform::directories().caches + "/";
  std::filesystem::file_time_type lastWrite =
      std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::vector<std::string> synced;
  std::string failing;
  const std::shared_ptr<KIDiskSync> disk = std::make_shared<KIDiskSync>([this](const std::string& path) {
    synced.push_back(path.substr(folder.size()));
    return synced.back() != failing;
  });
};

TEST_F(KIDiskSyncTest, SyncsWhatHasChangedAndADirectoryBehindItsFiles) {
  std::filesystem::create_directory(folder + "batches");
  for (const char* name : {"batches/1", "calls"}) write(name);
  EXPECT_THAT(synchronize(), ElementsAre("batches/1", "batches", "calls"));
  EXPECT_THAT(synchronize(), IsEmpty());
  write("calls");
  EXPECT_THAT(synchronize(), ElementsAre("calls"));
  write("batches/2");
  EXPECT_THAT(synchronize(), UnorderedElementsAre("batches/2", "batches"));
  EXPECT_THAT(synchronize(), IsEmpty());
}

// Two writes within a tick of the file system's clock leave the same time.
TEST_F(KIDiskSyncTest, SyncsAgainWhatMayHaveChangedSinceWithinOneTick) {
  std::filesystem::create_directory(folder + "batches");
  const auto moment = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
  const auto writeWithinTheTick = [&](const std::string& name) {
    std::ofstream(folder + name) << "x";
    for (const std::string& path : {name, std::string("batches")})
      std::filesystem::last_write_time(folder + path, moment);
  };
  writeWithinTheTick("batches/1");
  synchronize();
  writeWithinTheTick("batches/2");
  EXPECT_THAT(synchronize(), Contains("batches/2"));
}

TEST_F(KIDiskSyncTest, GivesTheDiskOneRunAtATimeAndThenWhatIsNew) {
  int done = 0;
  for (int i = 0; i < 3; ++i) {
    write("calls");
    disk->synchronize({folder + "calls"}, [&done] { ++done; });
  }
  device.drain();
  EXPECT_THAT(synced, ElementsAre("calls", "calls"));
  EXPECT_EQ(done, 2);
  EXPECT_THAT(synchronize(), IsEmpty());
}

TEST_F(KIDiskSyncTest, TriesAgainWhatTheDiskHasNotTakenAndNothingElse) {
  std::filesystem::create_directory(folder + "batches");
  for (const char* name : {"batches/1", "batches/2", "calls"}) write(name);
  failing = "batches/1";
  disk->synchronize({folder + "batches", folder + "calls"}, [] { FAIL() << "not all is on disk"; });
  device.drain();
  for (int i = 0; i < 2; ++i) EXPECT_THAT(synchronize(), ElementsAre("batches/1", "batches"));
  EXPECT_THAT(device.logLinesWith("is not known to be on disk"), ElementsAre(HasSubstr("batches/1")));
  failing.clear();
  EXPECT_THAT(synchronize(), ElementsAre("batches/1", "batches"));
  EXPECT_THAT(synchronize(), IsEmpty());
}

// A batch may have been sent, and its file be gone, before its turn comes.
TEST_F(KIDiskSyncTest, DoesNotMissWhatIsGoneByThen) {
  bool isDone = false;
  write("calls");
  const auto gone = std::make_shared<KIDiskSync>([](const std::string& path) {
    std::filesystem::remove(path);
    return false;
  });
  gone->synchronize({folder + "calls"}, [&isDone] { isDone = true; });
  device.drain();
  EXPECT_TRUE(isDone);
}

}  // namespace
