#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"

namespace platform {

// A process of its own, forked before this one has opened a database. Killed when the test is done with it.
class Child {
 public:
  explicit Child(const std::function<void()>& body) : pid_(fork()) {
    if (pid_ != 0) return;
    body();
    _exit(0);
  }
  ~Child() { killNow(); }
  void killNow() {
    if (pid_ > 0) kill(pid_, SIGKILL), wait();
  }
  // True when it ended by itself, and well.
  bool wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return status == 0;
  }

 private:
  pid_t pid_;
};

// Numbers from one process to another.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(ends_), 0); }
  ~Pipe() {
    ::close(ends_[0]);
    closeSender();
  }
  void send(int number) {
    EXPECT_EQ(write(ends_[1], &number, sizeof number), static_cast<ssize_t>(sizeof number));
  }
  void closeSender() {
    if (ends_[1] >= 0) ::close(std::exchange(ends_[1], -1));
  }
  // False at the end.
  bool receive(int& number) {
    return read(ends_[0], &number, sizeof number) == static_cast<ssize_t>(sizeof number);
  }

 private:
  int ends_[2];
};

// A directory for preferences, and the log lines that its use brings about.
class UserDefaultsTest : public testing::Test {
 protected:
  UserDefaultsTest() {
    root = (std::filesystem::temp_directory_path() / "defaults-XXXXXX").string();
    EXPECT_NE(mkdtemp(root.data()), nullptr);
    preferences = root + "/preferences";
    Directories directories;
    directories.preferences = preferences;
    directories.applicationIdentifier = "com.example.storefront";
    setDirectories(directories);
    SystemLog::setSink([this](std::string_view line) {
      std::lock_guard lock(linesMutex);
      lines.emplace_back(line);
    });
  }
  ~UserDefaultsTest() override {
    SystemLog::setSink(nullptr);
    std::filesystem::remove_all(root);
  }

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
      names.push_back(entry.path().filename().string());
    }
    std::erase_if(names, [](const auto& name) { return !name.starts_with("suite.sqlite.corrupt-"); });
    return names;
  }

  std::string root;
  std::string preferences;
  std::mutex linesMutex;
  std::vector<std::string> lines;
};

}  // namespace platform
