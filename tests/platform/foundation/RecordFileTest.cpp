#include "platform/foundation/RecordFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <fstream>

#include "tests/platform/foundation/FolderFixture.h"

namespace {

// What the file held that was synced last, and whether that was the one that took another's place.
std::string& synced() {
  static auto& content = *new std::string;
  return content;
}
bool wasSyncedWhenRenamed = false;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

// The library's calls come here instead of to the system's functions, and go on to the kernel.
extern "C" int fdatasync(int file) {
  synced() = contentOf("/proc/self/fd/" + std::to_string(file));
  return static_cast<int>(syscall(SYS_fdatasync, file));
}
extern "C" int rename(const char* from, const char* to) noexcept {
  wasSyncedWhenRenamed = synced() == contentOf(from);
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

namespace platform {
namespace {

using testing::ElementsAre;

class RecordFileTest : public FolderTest {
 protected:
  // Runs in a child, which then kills itself.
  static void inAKilledProcess(const std::function<void()>& work) {
    Child child([&] { work(), raise(SIGKILL); });
    EXPECT_EQ(child.wait(), SIGKILL);
  }
  std::vector<std::string> found() const { return RecordFile::open(path)->takeRecords(); }

  const std::string path = root + "/file";
};

// Else a power failure would take old records with the new file, whose name may reach the disk before it.
TEST_F(RecordFileTest, TakesTheOthersPlaceOnceItIsOnDisk) {
  const auto file = RecordFile::open(path);
  file->append("old");
  ASSERT_TRUE(file->replaceAll({"one", "two"}));
  EXPECT_TRUE(wasSyncedWhenRenamed);
}

TEST_F(RecordFileTest, KeepsWhatWasAppendedBeforeTheProcessWasKilled) {
  const std::string large(100'000, 'x');
  inAKilledProcess([&] {
    const auto file = RecordFile::open(path);
    file->append("cleared");
    file->clear();
    file->append("replaced");
    file->replaceAll({"one"});
    file->append(large);
  });
  const auto file = RecordFile::open(path);
  EXPECT_THAT(file->takeRecords(), ElementsAre("one", large));
  EXPECT_FALSE(file->hadForeignEnd());
  EXPECT_TRUE(file->append("three"));
  EXPECT_EQ(RecordFile::open(path), nullptr) << "somebody has it";
}

TEST_F(RecordFileTest, LeavesOutWhatIsNoWholeRecordOfItsOwn) {
  RecordFile::open(path)->append("one");
  const std::string whole = contentOf(path);
  std::string changed = whole;
  changed.back() ^= 1;
  const std::string frame = whole.substr(8, 8);
  // The bytes, whether they hold the record, whether they end in something else.
  const std::tuple<std::string, bool, bool> cases[] = {
      {whole, true, false},
      {whole + "x", true, true},
      {whole + frame + "on", true, true},
      {whole + std::string(100, '\0'), true, true},
      {changed, false, true},
      {whole.substr(0, 6), false, true},
      {"SQLite format 3", false, true},
      {"", false, false},
  };
  for (const auto& [bytes, hasOne, isForeign] : cases) {
    std::ofstream(path, std::ios::binary) << bytes;
    auto records = RecordFile::open(path);
    EXPECT_EQ(records->takeRecords().size(), hasOne ? 1u : 0u) << bytes;
    EXPECT_EQ(records->hadForeignEnd(), isForeign) << bytes;
    EXPECT_TRUE(records->append("two"));
    records.reset();
    EXPECT_EQ(found().back(), "two") << bytes;
  }
}

TEST_F(RecordFileTest, KeepsWhatIsAppendedWhileItIsWrittenAnew) {
  for (const bool isReplaced : {true, false}) {
    std::filesystem::remove(path);
    inAKilledProcess([&] {
      const auto file = RecordFile::open(path);
      for (const char* record : {"one", "two"}) file->append(record);
      const std::uint64_t size = file->size();
      file->append("three");
      if (file->recordsUpTo(size)->size() != 2) _exit(1);
      const auto draft = file->draft({"two"});
      file->append("four");
      if (isReplaced && !file->replaceUpTo(size, draft)) _exit(2);
      file->append("five");
    });
    const auto expected = isReplaced ? std::vector<std::string>{"two", "three", "four", "five"}
                                     : std::vector<std::string>{"one", "two", "three", "four", "five"};
    EXPECT_EQ(found(), expected);
  }
}

TEST_F(RecordFileTest, KeepsNothingOfWhatCannotBeWrittenWhole) {
  inAKilledProcess([&] {
    const auto file = RecordFile::open(path);
    file->append("one");
    const rlimit limit{60, 60};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string large(200, 'x');
    if (file->append(large) || file->replaceAll({large}) || !file->append("two")) _exit(1);
  });
  EXPECT_THAT(found(), ElementsAre("one", "two"));
  for (const char* place : {"/", "/missing/file"})
    EXPECT_EQ(RecordFile::open(root + place), nullptr) << place;
  EXPECT_EQ(mkfifo((root + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(RecordFile::open(root + "/pipe"), nullptr);
}

TEST_F(RecordFileTest, OutlivesWhatIsDoneToItsFile) {
  inAKilledProcess([&] {
    const auto file = RecordFile::open(path);
    file->append("one");
    if (truncate(path.c_str(), 0) != 0 || !file->append("two") || !file->clear()) _exit(1);
  });
  EXPECT_TRUE(RecordFile::open(path)->append("three"));
}

TEST_F(RecordFileTest, IsClearedAndRemovedWhateverIsInIt) {
  std::ofstream(path) << "x";
  std::filesystem::resize_file(path, 65 << 20);
  std::ofstream(path + ".partial") << "RECORDS2";
  EXPECT_EQ(RecordFile::open(path), nullptr) << "no such file is this long";
  EXPECT_TRUE(RecordFile::clearAt(path));
  EXPECT_FALSE(std::filesystem::exists(path + ".partial"));
  EXPECT_FALSE(RecordFile::open(path)->append(std::string(65 << 20, 'x'))) << "or becomes it";
  EXPECT_TRUE(RecordFile::removeAt(path));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(RecordFile::removeAt(path));
}

TEST_F(RecordFileTest, LeavesNoLockWithAForkedChild) {
  std::atomic<int>& child = sharedNumber();
  inAKilledProcess([&] {
    const auto file = RecordFile::open(path);
    file->replaceAll({"one"});
    const pid_t forked = fork();
    if (forked != 0) return child.store(forked);
    alarm(60);
    pause();
  });
  EXPECT_NE(RecordFile::open(path), nullptr);
  ::kill(child, SIGKILL);
}

}  // namespace
}  // namespace platform
