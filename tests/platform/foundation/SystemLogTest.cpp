#include "platform/foundation/SystemLog.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

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
  ASSERT_EQ(lines.size(), 200u);
  for (const std::string& line : lines) {
    const std::string message = line.substr(line.find("] ") + 2);
    EXPECT_EQ(message, std::string(5000, message[0]));
  }
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

}  // namespace
}  // namespace platform
