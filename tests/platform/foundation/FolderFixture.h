#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <utility>

namespace platform {

// A process of its own. Killed when the test is done with it.
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
  // 0 when it ended by itself, and well; the signal that killed it.
  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return status;
  }

 private:
  pid_t pid_;
};

// A number that this process shares with those it forks.
inline std::atomic<int>& sharedNumber() {
  void* const page =
      mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (page) std::atomic<int>(0);
}
// False when it takes too long.
inline bool reaches(const std::atomic<int>& number, int least) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (number < least && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  return number >= least;
}

class FolderTest : public testing::Test {
 protected:
  FolderTest() { EXPECT_NE(mkdtemp(root.data()), nullptr); }
  ~FolderTest() override { std::filesystem::remove_all(root); }

  std::string root = std::filesystem::temp_directory_path() / "test-XXXXXX";
};

}  // namespace platform
