#include "platform/foundation/SeparatePart.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/foundation/SystemLog.h"

namespace platform {
namespace {

TEST(SeparateLibraryTest, WhatIsMissingIsToldOnceAndLookedForAgain) {
  const std::string path = testing::TempDir() + "part.so";
  std::filesystem::remove(path);
  SeparateLibrary library(path.c_str());
  std::vector<std::string> log;
  SystemLog::setSink([&](std::string_view line) {
    log.emplace_back(line);
    EXPECT_FALSE(library.find("getpid")) << "also by whoever shows the line";
  });
  EXPECT_FALSE(library.find("getpid"));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log.front().starts_with("A library could not be loaded: " + path)) << log.front();

  Dl_info libc;
  ASSERT_TRUE(dladdr(reinterpret_cast<void*>(&getpid), &libc));
  std::filesystem::create_symlink(libc.dli_fname, path);
  EXPECT_TRUE(library.find("getpid"));

  SystemLog::setSink([&](std::string_view line) { log.emplace_back(line); });
  SeparateLibrary ofAnotherVersion(path.c_str());
  EXPECT_FALSE(ofAnotherVersion.find("getpid_9_0_0"));
  EXPECT_THAT(log.back(), testing::MatchesRegex("A library is of another version: .*getpid_9_0_0.*"));
  SystemLog::setSink(nullptr);
  EXPECT_FALSE(SeparateLibrary(nullptr).find("getpid"));
}

}  // namespace
}  // namespace platform
