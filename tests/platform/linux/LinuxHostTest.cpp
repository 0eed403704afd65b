#include "platform/linux/LinuxHost.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/foundation/NSFileManager.h"

namespace platform {
namespace {

class LinuxHostTest : public testing::Test {
 protected:
  LinuxHostTest() {
    root = (std::filesystem::temp_directory_path() / "host-XXXXXX").string();
    EXPECT_NE(mkdtemp(root.data()), nullptr);
    setenv("HOME", (root + "/home").c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"}) unsetenv(name);
  }
  ~LinuxHostTest() override { std::filesystem::remove_all(root); }

  std::string machineId(std::string_view text) {
    std::ofstream(root + "/machine-id") << text;
    return root + "/machine-id";
  }

  std::string root;
};

TEST_F(LinuxHostTest, FollowsTheBaseDirectoriesOfTheUser) {
  setenv("XDG_CACHE_HOME", (root + "/fast disk").c_str(), 1);
  setenv("XDG_CONFIG_HOME", "relative/is/ignored", 1);
  installLinuxHost({"Storefront", "com.example.storefront", ""});
  for (const auto& [path, directory] : {std::pair(SearchPath::Documents, "/home/.local/share/%/Documents"),
                                        {SearchPath::ApplicationSupport, "/home/.local/share/%"},
                                        {SearchPath::Caches, "/fast disk/%"},
                                        {SearchPath::Preferences, "/home/.config/%"}}) {
    std::string expected = root + directory;
    expected.replace(expected.find('%'), 1, "com.example.storefront");
    EXPECT_EQ(NSFileManager().directory(path), expected);
  }
  EXPECT_EQ(directories().applicationIdentifier, "com.example.storefront");

  // Without a home in the environment it is the one that the system knows.
  unsetenv("HOME");
  unsetenv("XDG_CACHE_HOME");
  setenv("XDG_DATA_HOME", root.c_str(), 1);
  installLinuxHost({"Storefront", "com.example.storefront", ""});
  EXPECT_THAT(NSFileManager().directory(SearchPath::Caches),
              testing::MatchesRegex("/.+/.cache/com.example.storefront"));
}

TEST_F(LinuxHostTest, TheDocumentsDirectoryKeepsTheTimeOfInstallation) {
  const NSFileManager files;
  const auto installed = [&] {
    installLinuxHost({"Storefront", "", root});
    return std::get<FileAttributes>(files.attributes(files.directory(SearchPath::Documents)));
  };
  const FileAttributes first = installed();
  EXPECT_EQ(first.kind, FileKind::Directory);
  EXPECT_EQ(files.directory(SearchPath::Documents), root + "/data/Storefront/Documents");
  EXPECT_EQ(installed().creationDate, first.creationDate);
}

TEST_F(LinuxHostTest, KnowsTheMachine) {
  const std::string path = machineId("0123456789abcdef0123456789abcdef\n");
  const std::optional<NSUUID> id = vendorIdentifier("com.example.a", path);
  // Of machine and application alone: the first half of the SHA-256 digest of the machine id, a line feed and
  // the identifier, with version and variant.
  ASSERT_TRUE(id);
  EXPECT_EQ(id->UUIDString(), "B28C8F93-0669-8408-B523-F8ADDFE339D6");
  EXPECT_EQ(vendorIdentifier("com.example.a", path), id);
  EXPECT_NE(vendorIdentifier("com.example.b", path), id);
  EXPECT_NE(vendorIdentifier("com.example.a", machineId("ffffffffffffffffffffffffffffffff\n")), id);
  EXPECT_FALSE(vendorIdentifier("com.example.a", machineId("\n")));
  EXPECT_FALSE(vendorIdentifier("com.example.a", machineId("uninitialized\n")));
  EXPECT_FALSE(vendorIdentifier("com.example.a", root + "/missing"));

  // Model and version are one line each.
  for (const auto& fact : {deviceModel(), systemVersion()}) {
    ASSERT_TRUE(fact);
    EXPECT_THAT(*fact, testing::MatchesRegex("[^\n \"]([^\n\"]*[^\n \"])?"));
  }
}

}  // namespace
}  // namespace platform
