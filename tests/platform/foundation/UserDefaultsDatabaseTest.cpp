#include "platform/foundation/internal/UserDefaultsDatabase.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>

#include <chrono>
#include <fstream>
#include <list>

#include "tests/platform/foundation/UserDefaultsFixture.h"
#include "tests/support/ResourceLimit.h"

namespace platform {
namespace {

using testing::HasSubstr;

const std::string kLarge(300'000, 'x');

class DamagedUserDefaultsTest : public UserDefaultsTest {
 protected:
  void renew(bool isFilled) {
    std::filesystem::remove_all(preferences);
    std::filesystem::create_directories(preferences);
    lines.clear();
    if (isFilled) open()->setObjects({{"small", "small"}, {"large", kLarge}});
  }
  void setAndReopen() {
    open()->setObject("after", "key");
    EXPECT_EQ(open()->stringForKey("key"), "after");
  }
  void overwrite(std::streamoff at, std::size_t length) {
    std::fstream file(path(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(at);
    file << std::string(length, '\x5a');
  }
  // By text of the same length.
  void replaceInFile(std::string_view old, std::string_view with) {
    std::string bytes = NSFileManager().contents(path()).value();
    for (std::size_t at = 0; (at = bytes.find(old, at)) != std::string::npos;) {
      bytes.replace(at, old.size(), with);
    }
    NSFileManager().createFile(path(), bytes);
  }
};

TEST_F(DamagedUserDefaultsTest, IsMovedAsideAndReplaced) {
  const auto cutTo = [&](std::size_t size) { std::filesystem::resize_file(path(), size); };
  // The name, whether it is filled before, the damage, the key that shows it, the fault, and the number of
  // files aside: with the log and its index, where there were such.
  const std::tuple<const char*, bool, std::function<void()>, const char*, const char*, std::size_t> cases[] =
      {// First, because a child is forked before this process has opened a database.
       {"log without database", false, [&] { storeAndDie(), cutTo(0); }, "before", "is damaged", 3},
       {"no database", false, [&] { NSFileManager().createFile(path(), kLarge); }, "small", "is damaged", 1},
       {"half", true, [&] { cutTo(std::filesystem::file_size(path()) / 2); }, "small", "is damaged", 3},
       {"root page below a sound header", true, [&] { overwrite(4096, 4096); }, "large", "is damaged", 3},
       {"table", true, [&] { replaceInFile("value TEXT", "other TEXT"); }, "small", "is another's", 3},
       {"directory", false, [&] { std::filesystem::create_directories(path() + "/within"); }, "small",
        "is another's", 1}};
  for (const auto& [name, isFilled, damage, key, fault, filesAsideCount] : cases) {
    SCOPED_TRACE(name);
    renew(isFilled);
    damage();
    {
      const auto finder = open();
      EXPECT_FALSE(finder->objectForKey(key));
      setAndReopen();  // the same one, as long as it is held
    }
    EXPECT_EQ(open()->stringForKey("key"), "after");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr(std::string(" ") + fault + ". It was moved to " + path() + ".corrupt-"));
    EXPECT_EQ(filesAside().size(), filesAsideCount);
  }
}

TEST_F(DamagedUserDefaultsTest, ASetFindsItTooAndAForeignDatabaseIsTakenOver) {
  for (const bool isForeign : {false, true}) {
    renew(true);
    // Without our table it is taken over as it is.
    isForeign ? replaceInFile("defaults", "anothers") : overwrite(4096, 4096);
    setAndReopen();
    EXPECT_EQ(lines.size(), isForeign ? 0u : 1u);
  }
}

TEST_F(DamagedUserDefaultsTest, ProcessesThatFindTheDamageTogetherReplaceItOnce) {
  renew(true);
  overwrite(0, 200);
  std::atomic<int>& ready = sharedNumber();
  std::list<Child> children;
  for (int i = 0; i < 4; ++i) {
    children.emplace_back([&, i] {
      ++ready;
      reaches(ready, 4);
      const auto defaults = open();
      for (int k = 0; k < 20; ++k) defaults->setObject(k, std::to_string(i) + "-" + std::to_string(k));
      storeAll(*defaults);
    });
  }
  for (Child& child : children) EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(filesAside().size(), 1u);
  for (int i = 0; i < 4; ++i) {
    for (int k = 0; k < 20; ++k) {
      EXPECT_EQ(open()->objectForKey(std::to_string(i) + "-" + std::to_string(k)), Value(k)) << i << " " << k;
    }
  }
}

TEST_F(DamagedUserDefaultsTest, ADatabaseReplacedByAnotherProcessIsOpenedAnew) {
  const auto defaults = open();
  defaults->setObject("old", "key");
  for (const char* suffix : {"-wal", "-shm", ""})
    std::filesystem::rename(path() + suffix, root + "/aside" + suffix);
  UserDefaultsDatabase(path()).write({{"key", "\"new\""}});
  EXPECT_EQ(defaults->stringForKey("key"), "new");
  defaults->setObject("newer", "key");
  EXPECT_EQ(stored("key"), "\"newer\"");
  std::filesystem::remove_all(preferences);
  defaults->setObject("newest", "key");
  EXPECT_EQ(stored("key"), "\"newest\"");
}

TEST_F(UserDefaultsTest, ItsFilesAreTheUsersAloneAndALongLogIsEmptied) {
  umask(0);
  const auto defaults = open();
  defaults->setObject(std::string(4'000'000, 'x'), "large");
  EXPECT_EQ(std::filesystem::file_size(path() + "-wal"), 0u) << "the process may end now";
  for (const char* suffix : {"", "-wal", "-shm"}) {
    EXPECT_EQ(std::filesystem::status(path() + suffix).permissions(), std::filesystem::perms(0600)) << suffix;
  }
  EXPECT_EQ(std::filesystem::status(preferences).permissions(), std::filesystem::perms(0700));
}

TEST_F(UserDefaultsTest, WithoutADescriptorTheStoreIsUnreadableNotEmpty) {
  // Because a sanitizer that meets a type for the first time needs descriptors, too.
  open()->objectForKey("key");
  std::filesystem::remove_all(preferences);
  {
    const auto none = ResourceLimit::descriptors(0);
    const auto value = open()->objectForKey("key");
    EXPECT_FALSE(value || value.isUnreadable()) << "where nothing was ever stored there is none";
  }
  open()->setObject("stored", "key");
  const auto defaults = open();
  {
    const auto none = ResourceLimit::descriptors(0);
    EXPECT_TRUE(defaults->objectForKey("key").isUnreadable());
    EXPECT_TRUE(defaults->stringForKey("key").isUnreadable());
    EXPECT_TRUE(defaults->arrayForKey("missing").isUnreadable());
    EXPECT_TRUE(defaults->dictionaryForKey("missing").isUnreadable());
  }
  EXPECT_EQ(defaults->stringForKey("key"), "stored");
  EXPECT_FALSE(defaults->stringForKey("missing").isUnreadable());
}

TEST_F(UserDefaultsTest, WhatCannotBeLookedAtIsUnreadableNotDamaged) {
  std::filesystem::create_directories(preferences);
  std::filesystem::create_symlink(path(), path());  // to itself
  NSFileManager().createFile(path() + "-wal", "log");
  EXPECT_TRUE(open()->objectForKey("key").isUnreadable());
  EXPECT_TRUE(std::filesystem::is_symlink(path()));
}

TEST_F(UserDefaultsTest, WaitsForAnotherProcessATenthOfASecondInAll) {
  open()->setObject("stored", "key");
  const int directory = ::open(preferences.c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(directory, LOCK_EX), 0);  // of another open file description, and so as of another process
  const auto defaults = open();
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(defaults->objectForKey("key").isUnreadable());
  defaults->setObject("set", "other");
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited.count(), 0.1);
  EXPECT_LT(waited.count(), 0.6) << "twenty-one times a tenth if each waited";
  close(directory);
  EXPECT_EQ(defaults->stringForKey("key"), "stored");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(stored("other"), "\"set\"");
}

TEST_F(UserDefaultsTest, ADiskThatIsFullFromTheStart) {
  auto defaults = open();
  {
    const auto disk = ResourceLimit::fileSize(1);
    for (const char* key : {"key", "other"}) defaults->setObject("value", key);
    EXPECT_EQ(defaults->stringForKey("key"), "value");
  }
  defaults->setObject("with room", "third");
  for (const char* key : {"key", "other"}) EXPECT_EQ(stored(key), "\"value\"");
  EXPECT_EQ(lines.size(), 1u);
  defaults.reset();
  const auto disk = ResourceLimit::fileSize(1);
  EXPECT_EQ(open()->stringForKey("key"), "value") << "full at the next start";
}

TEST_F(UserDefaultsTest, AFullDiskLosesNothing) {
  const auto defaults = open();
  defaults->setObjects({{"large", "first"}, {"removed", "there"}});
  {
    const auto disk = ResourceLimit::fileSize(64 * 1024);
    for (int i = 0; i < 3; ++i) defaults->setObject(kLarge, "large");
    EXPECT_FALSE(defaults->synchronize());
    EXPECT_EQ(lines.size(), 1u) << "one line for one cause";
    EXPECT_EQ(defaults->stringForKey("large"), kLarge);
    EXPECT_EQ(stored("large"), "\"first\"");
    defaults->setObject("finds room", "small");
    defaults->removeObjectForKey("removed");
    EXPECT_EQ(stored("small"), "\"finds room\"");
    EXPECT_FALSE(defaults->objectForKey("removed"));
  }
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(stored("large"), "\"" + kLarge + "\"");
  const auto disk = ResourceLimit::fileSize(1);
  defaults->setObject(kLarge + kLarge, "large");
  EXPECT_EQ(lines.size(), 2u) << "a cause that has passed and comes back is news";
}

TEST_F(UserDefaultsTest, WhatIsSetTogetherIsStoredTogether) {
  const auto defaults = open();
  defaults->setObjects({{"person", "ada"}, {"id", "1"}, {"queue", "first"}, {"never there", std::nullopt}});
  {
    const auto disk = ResourceLimit::fileSize(64 * 1024);
    EXPECT_FALSE(defaults->setObjects({{"person", std::nullopt}, {"queue", kLarge}}));
    EXPECT_TRUE(defaults->setObject("2", "id"));
    EXPECT_FALSE(defaults->setObjects({{"id", "3"}, {"queue", kLarge + "!"}}));
    EXPECT_EQ(stored("person"), "\"ada\"") << "what belongs to it has no room";
    EXPECT_EQ(stored("id"), "\"2\"");
    EXPECT_FALSE(defaults->objectForKey("person"));
    EXPECT_EQ(defaults->stringForKey("id"), "3");
  }
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(stored("person"), std::nullopt);
  EXPECT_EQ(stored("id"), "\"3\"");
  EXPECT_EQ(stored("queue"), "\"" + kLarge + "!\"");
}

TEST_F(UserDefaultsTest, ARevisionIsMadeOfWhatIsStoredInTheEnd) {
  const auto defaults = open();
  const auto append = [](std::string more) {
    return NSUserDefaults::Revision([more = std::move(more)](const std::optional<Value>& stored) {
      return Value((stored ? stored->description() : "") + more);
    });
  };
  EXPECT_TRUE(defaults->setObjects({{"text", append("a")}, {"text", append("b")}}));
  {
    const auto disk = ResourceLimit::fileSize(64 * 1024);
    EXPECT_FALSE(defaults->setObjects({{"text", append("c")}, {"queue", kLarge}}));
    EXPECT_FALSE(defaults->setObjects({{"text", append("d")}}));
    EXPECT_EQ(defaults->stringForKey("text"), "abcd");
    EXPECT_TRUE(UserDefaultsDatabase(path()).write({{"text", "\"another's\""}}));
  }
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(stored("text"), "\"another'scd\"");
}

class ReadOnlyUserDefaultsTest : public UserDefaultsTest {
 protected:
  ReadOnlyUserDefaultsTest() {
    std::filesystem::create_directories(preferences);
    chmod(root.c_str(), 0755);
  }

  // Runs the body in a process for which permissions count, as the owner of a directory that cannot be
  // written to. The body expects; a failure ends the process badly.
  void whenReadOnly(const std::function<void()>& body) {
    Child child([&] {
      constexpr uid_t kNobody = 65534;
      if (geteuid() == 0) {
        change("chown -R " + std::to_string(kNobody));
        EXPECT_EQ(setuid(kNobody), 0);
      }
      change("chmod -R a-w");
      body();
      for (const std::string& line : lines) std::fprintf(stderr, "%s\n", line.c_str());
      _exit(HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(child.wait(), 0);
  }
  void change(const std::string& command) {
    EXPECT_EQ(std::system((command + " " + preferences).c_str()), 0) << command;
  }
};

TEST_F(ReadOnlyUserDefaultsTest, AStoreIsReadAndWhatIsSetIsKeptAndWrittenLater) {
  const std::tuple<const char*, std::function<void()>, std::optional<std::string>, std::size_t> cases[] = {
      // First, because a child is forked before this process has opened a database.
      {"of a killed process", [&] { storeAndDie(); }, "kept", 2},
      {"closed", [&] { open()->setObject("kept", "before"); }, "kept", 2},
      {"none", [] {}, std::nullopt, 1}};
  for (const auto& [name, store, kept, mostLines] : cases) {
    SCOPED_TRACE(name);
    store();
    whenReadOnly([&, kept = kept, mostLines = mostLines] {
      const auto defaults = open();
      EXPECT_EQ(std::optional<std::string>(defaults->stringForKey("before")), kept);
      defaults->setObject("unwritten", "key");
      defaults->setObject("changed", "before");
      EXPECT_EQ(defaults->stringForKey("key"), "unwritten");
      EXPECT_EQ(defaults->stringForKey("before"), "changed");
      EXPECT_FALSE(defaults->synchronize());
      EXPECT_FALSE(lines.empty());
      EXPECT_LE(lines.size(), mostLines);
      EXPECT_EQ(stored("before"), kept ? std::optional<std::string>("\"kept\"") : std::nullopt);
      change("chmod -R u+w");
      EXPECT_TRUE(defaults->synchronize());
      EXPECT_EQ(stored("key"), "\"unwritten\"");
      EXPECT_EQ(stored("before"), "\"changed\"");
    });
    std::filesystem::remove_all(preferences);
    std::filesystem::create_directories(preferences);
  }
}

TEST_F(ReadOnlyUserDefaultsTest, ADirectoryThatMayNotBeEnteredIsUnreadableNotEmpty) {
  open()->setObject("kept", "before");
  whenReadOnly([&] {
    chmod(preferences.c_str(), 0);
    const auto defaults = open();
    EXPECT_TRUE(defaults->objectForKey("before").isUnreadable());
    chmod(preferences.c_str(), 0700);
    EXPECT_EQ(defaults->stringForKey("before"), "kept");
  });
}

TEST_F(UserDefaultsTest, WithoutADirectoryValuesLiveInThisProcess) {
  setDirectories({});
  const auto defaults = open();
  defaults->setObject("value", "key");
  EXPECT_EQ(defaults->stringForKey("key"), "value");
  EXPECT_EQ(lines.size(), 1u);
}

}  // namespace
}  // namespace platform
