#include "platform/foundation/NSFileManager.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "tests/platform/foundation/FolderFixture.h"
#include "tests/support/ResourceLimit.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::UnorderedElementsAre;

class NSFileManagerTest : public FolderTest {
 protected:
  NSFileManager files;
};

TEST_F(NSFileManagerTest, WritesReadsListsAndRemovesFiles) {
  const std::string bytes = std::string("a\0b", 3) + std::string(100'000, 'x');
  EXPECT_TRUE(files.createFile(root + "/one", bytes));
  EXPECT_TRUE(files.createFile(root + "/two", ""));
  EXPECT_THAT(files.contents(root + "/one"), Optional(bytes));
  EXPECT_THAT(files.contents(root + "/two"), Optional(std::string()));
  EXPECT_TRUE(files.createFile(root + "/one", "replaced"));
  EXPECT_THAT(files.contents(root + "/one"), Optional(std::string("replaced")));
  EXPECT_THAT(files.contentsOfDirectory(root), Optional(UnorderedElementsAre("one", "two")));
  EXPECT_TRUE(files.removeItem(root + "/one"));
  EXPECT_FALSE(files.removeItem(root + "/one"));
  EXPECT_FALSE(files.contents(root + "/one"));
  EXPECT_FALSE(files.contents(root)) << "a directory has no contents to read";
  EXPECT_FALSE(files.contentsOfDirectory(root + "/two"));
  EXPECT_THAT(files.contents("/proc/self/stat"), Optional(testing::Not(IsEmpty()))) << "states a size of 0";
}

TEST_F(NSFileManagerTest, MakesDirectoriesWithAndWithoutIntermediatesAndTellsThemFromFiles) {
  files.createFile(root + "/file", "");
  // The path, with intermediates, whether it is made, and what is there then.
  const std::tuple<const char*, bool, bool, FileKind> cases[] = {
      {"", true, true, FileKind::Directory},       {"/a/b", false, false, FileKind::None},
      {"/a/b", true, true, FileKind::Directory},   {"/a/b", true, true, FileKind::Directory},
      {"/a/b", false, false, FileKind::Directory},  // exists already
      {"/file", true, false, FileKind::File},      {"/file/below", true, false, FileKind::None}};
  for (const auto& [path, withIntermediates, isMade, kind] : cases) {
    EXPECT_EQ(files.createDirectory(root + path, withIntermediates), isMade) << path;
    EXPECT_EQ(files.fileExists(root + path), kind) << path;
  }
  EXPECT_EQ(files.fileExists(""), FileKind::None);
}

TEST_F(NSFileManagerTest, MakesThingsForTheUserAloneAndLeavesTheModesOfOthers) {
  umask(0);
  std::filesystem::create_directory(root + "/open");
  EXPECT_TRUE(files.createDirectory(root + "/open/a/b", true));
  EXPECT_TRUE(files.createDirectory(root + "/open/c", false));
  EXPECT_TRUE(files.createFile(root + "/open/file", ""));
  const std::pair<const char*, unsigned> modes[] = {
      {"", 0777}, {"/a", 0700}, {"/a/b", 0700}, {"/c", 0700}, {"/file", 0600}};
  for (const auto& [path, mode] : modes)
    EXPECT_EQ(std::filesystem::status(root + "/open" + path).permissions(), std::filesystem::perms(mode))
        << path;
}

TEST_F(NSFileManagerTest, RemovesADirectoryWithAllItHoldsButNotWhatLinksPointTo) {
  files.createDirectory(root + "/outside", false);
  files.createFile(root + "/outside/kept", "");
  files.createDirectory(root + "/tree/deep", true);
  files.createFile(root + "/tree/deep/file", "");
  ASSERT_EQ(symlink((root + "/outside").c_str(), (root + "/tree/link").c_str()), 0);
  EXPECT_TRUE(files.removeItem(root + "/tree"));
  EXPECT_EQ(files.fileExists(root + "/tree"), FileKind::None);
  EXPECT_EQ(files.fileExists(root + "/outside/kept"), FileKind::File);
}

TEST_F(NSFileManagerTest, AFileThatCannotBeWrittenWholeLeavesNothingBehind) {
  files.createFile(root + "/existing", "before");
  {
    const auto disk = ResourceLimit::fileSize(10'000);
    EXPECT_FALSE(files.createFile(root + "/new", std::string(20'000, 'x')));
    EXPECT_FALSE(files.createFile(root + "/existing", std::string(20'000, 'x')));
  }
  EXPECT_THAT(files.contentsOfDirectory(root), Optional(ElementsAre("existing")));
  EXPECT_THAT(files.contents(root + "/existing"), Optional(std::string("before")));
  EXPECT_FALSE(files.createFile(root + "/missing/file", "x"));
}

TEST_F(NSFileManagerTest, AttributesHoldTheCreationDateThroughLaterChanges) {
  files.createFile(root + "/file", "12345");
  const timespec longAgo[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (root + "/file").c_str(), longAgo, 0), 0);
  const auto found = std::get<FileAttributes>(files.attributes(root + "/file"));
  EXPECT_EQ(found.kind, FileKind::File);
  EXPECT_EQ(found.size, 5u);
  EXPECT_EQ(found.modificationDate, NSDate::withTimeIntervalSince1970(1e9));
  EXPECT_NEAR(found.creationDate->timeIntervalSince1970(), static_cast<double>(std::time(nullptr)), 5);
  // One that keeps no times of creation: nothing else stands for it.
  EXPECT_FALSE(std::get<FileAttributes>(files.attributes("/proc/self")).creationDate);

  const auto missing = std::get<NSError>(files.attributes(root + "/missing"));
  EXPECT_EQ(missing.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(missing.code(), ENOENT);
  EXPECT_EQ(missing.localizedDescription(), "No such file or directory");
}

}  // namespace
}  // namespace platform
