#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"
#include "tests/platform/foundation/FolderFixture.h"

namespace platform {

// A directory for preferences, and the log lines that its use brings about.
class UserDefaultsTest : public FolderTest {
 protected:
  UserDefaultsTest() {
    Directories directories;
    directories.preferences = preferences;
    directories.applicationIdentifier = "com.example.storefront";
    setDirectories(directories);
    SystemLog::setSink([this](std::string_view line) {
      std::lock_guard lock(linesMutex);
      lines.emplace_back(line);
    });
  }
  ~UserDefaultsTest() override { SystemLog::setSink(nullptr); }

  std::shared_ptr<NSUserDefaults> open() { return NSUserDefaults::withSuiteName("suite"); }
  // In a process that is killed.
  void storeAndDie() {
    Child([&] {
      const auto defaults = open();
      defaults->setObject("kept", "before");
      raise(SIGKILL);
    }).wait();
  }
  // A set that had to wait for another process too long is stored by a later try.
  static void storeAll(NSUserDefaults& defaults) {
    while (!defaults.synchronize()) continue;
  }
  std::string path() const { return preferences + "/suite.sqlite"; }

  // The stored form, read past the object under test.
  std::optional<std::string> stored(std::string_view key) {
    const auto text = UserDefaultsDatabase(path()).read(key);
    return text ? std::optional(text->text) : std::nullopt;
  }

  std::vector<std::string> filesAside() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(preferences)) {
      const std::string name = entry.path().filename();
      if (name.starts_with("suite.sqlite.corrupt-")) names.push_back(name);
    }
    return names;
  }

  const std::string preferences = root + "/preferences";
  std::mutex linesMutex;
  std::vector<std::string> lines;
};

}  // namespace platform
