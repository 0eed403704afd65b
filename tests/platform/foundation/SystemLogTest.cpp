#include "platform/foundation/SystemLog.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/foundation/NSException.h"
#include "platform/foundation/SeparatePart.h"

namespace platform {
namespace {

std::string standardErrorOf(const std::function<void()>& body) {
  testing::internal::CaptureStderr();
  body();
  return testing::internal::GetCapturedStderr();
}

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(SystemLogTest, WritesThePlatformsLineForm) {
  const std::string text = standardErrorOf([] { NSLog("first\nsecond %s"); });
  const std::regex form(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6}[+-]\d{4} (\S+)\[(\d+):(\d+)\] first\nsecond %s\n)");
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(text, parts, form)) << text;
  EXPECT_EQ(parts[1], program_invocation_short_name);
  EXPECT_EQ(parts[2], std::to_string(getpid()));
  EXPECT_EQ(parts[3], std::to_string(gettid()));
}

TEST(SystemLogTest, LinesOfSeveralThreadsStayWhole) {
  const std::string text = standardErrorOf([] {
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; ++c) {
      threads.emplace_back([c] {
        for (int i = 0; i < 50; ++i) NSLog(std::string(5000, c));
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  const std::vector<std::string> lines = linesOf(text);
  EXPECT_EQ(lines.size(), 200u);
  for (const std::string& line : lines) EXPECT_TRUE(line.ends_with("] " + std::string(5000, line.back())));
}

TEST(SystemLogTest, CutsALongMessageBetweenCodePoints) {
  std::string received;
  SystemLog::setSink([&](std::string_view message) { received = message; });
  const std::string exact(SystemLog::kLongestMessage, 'a');
  NSLog(exact);
  EXPECT_EQ(received, exact);
  const std::string beforeTheCut(SystemLog::kLongestMessage - 2, 'a');
  NSLog(beforeTheCut + "😀 and more");
  EXPECT_EQ(received, beforeTheCut + "… [cut, 65547 bytes in all]");
  NSLog(std::string(100'000, '\x80'));
  EXPECT_LE(received.size(), SystemLog::kLongestMessage + 100);
  SystemLog::setSink(nullptr);
}

TEST(SystemLogTest, ASinkReplacesStandardErrorUntilItIsTakenAwayAndHarmsNobody) {
  std::vector<std::string> received;
  const std::string text = standardErrorOf([&] {
    SystemLog::setSink([&](std::string_view message) { received.emplace_back(message); });
    NSLog("to the sink");
    SystemLog::setSink([](std::string_view) { throw std::runtime_error("no room"); });
    NSLog("thrown back");
    SystemLog::setSink([](std::string_view message) { NSLog("about: " + std::string(message)); });
    NSLog("logged");
    SystemLog::setSink(nullptr);
    NSLog("to standard error");
  });
  EXPECT_THAT(received, testing::ElementsAre("to the sink"));
  EXPECT_THAT(linesOf(text),
              testing::ElementsAre(testing::EndsWith("] thrown back"), testing::EndsWith("] about: logged"),
                                   testing::EndsWith("] to standard error")));
}

// What is in flight after `raise`, as an NSException.
NSException caught(void (*raise)()) {
  try {
    raise();
  } catch (...) {
    return NSException::current();
  }
  return NSException("nothing was raised");
}

TEST(NSExceptionTest, TakesAnyExceptionForOneOfItsOwnAndLogsAFailedAssertion) {
  const NSException standard = caught([] { throw std::out_of_range("no such item"); });
  EXPECT_EQ(standard.name() + ": " + standard.reason().value(), "std::out_of_range: no such item");
  EXPECT_FALSE(standard.callStackSymbols().empty());
  const NSException other = caught([] { throw 3; });
  EXPECT_EQ(other.name(), "unknown");
  EXPECT_EQ(other.reason(), std::nullopt);

  std::vector<std::string> lines;
  SystemLog::setSink([&](std::string_view line) { lines.emplace_back(line); });
  const NSException exception =
      caught([] { handleFailureInMethod("-[Cart add:]", "Cart", 12, "no more room"); });
  SystemLog::setSink(nullptr);
  EXPECT_EQ(exception.name(), "NSInternalInconsistencyException");
  EXPECT_STREQ(exception.what(), "no more room");
  EXPECT_THAT(lines, testing::ElementsAre("*** Assertion failure in -[Cart add:], Cart:12"));
}

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
