#include "src/storage/KIDiskSync.h"

#include <filesystem>
#include <fstream>

#include "tests/src/storage/QueueFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class KIDiskSyncTest : public QueueTest {
 protected:
  void write(const std::string& name) { std::ofstream(folder + name, std::ios::app) << "x"; }
  // Names below the folder, in their order.
  std::vector<std::string> synchronize() {
    synced.clear();
    disk->synchronize({folder + "batches", folder + "calls", folder + "missing"});
    device.drain();
    return synced;
  }

  const std::string folder = platform::directories().caches + "/";
  std::vector<std::string> synced;
  bool isFailing = false;
  const std::shared_ptr<KIDiskSync> disk = std::make_shared<KIDiskSync>([this](const std::string& path) {
    synced.push_back(path.substr(folder.size()));
    return !isFailing;
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
  std::filesystem::last_write_time(folder + "batches",
                                   std::filesystem::file_time_type::clock::now() + std::chrono::seconds(1));
  EXPECT_THAT(synchronize(), UnorderedElementsAre("batches/2", "batches"));
  EXPECT_THAT(synchronize(), IsEmpty());
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

TEST_F(KIDiskSyncTest, TriesAgainWhatTheDiskHasNotTaken) {
  write("calls");
  isFailing = true;
  disk->synchronize({folder + "calls"}, [] { FAIL() << "it is not on disk"; });
  device.drain();
  isFailing = false;
  EXPECT_THAT(synchronize(), ElementsAre("calls"));
}

}  // namespace
