#include "platform/foundation/Random.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <regex>
#include <set>
#include <thread>
#include <vector>

#include "platform/foundation/NSUUID.h"

namespace platform {
namespace {

using Numbers = std::array<std::uint32_t, 2>;

Numbers draw() { return {arc4random(), arc4random()}; }

TEST(RandomTest, ThreadsDrawDifferentNumbers) {
  Numbers first, second;
  std::thread([&] { first = draw(); }).join();
  std::thread([&] { second = draw(); }).join();
  EXPECT_NE(first, second);
}

TEST(RandomTest, FillsSpansLongerThanItsBuffer) {
  std::vector<std::byte> bytes(1000);
  fillWithRandomBytes(bytes);
  for (auto at = bytes.begin(); at != bytes.end(); at += 100)
    EXPECT_LT(std::count(at, at + 100, std::byte{0}), 100);
}

TEST(RandomTest, AForkedChildDoesNotRepeatItsParent) {
  draw();  // a buffer that the child inherits
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const Numbers numbers = draw();
    _exit(write(ends[1], &numbers, sizeof numbers) == ssize_t(sizeof numbers) ? 0 : 1);
  }
  Numbers theirs;
  ASSERT_EQ(read(ends[0], &theirs, sizeof theirs), ssize_t(sizeof theirs));
  waitpid(child, nullptr, 0);
  EXPECT_NE(draw(), theirs);
}

TEST(NSUUIDTest, RandomOnesAreOfVersion4AndDiffer) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    const std::string text = NSUUID::UUID().UUIDString();
    EXPECT_TRUE(std::regex_match(text, form)) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 200u);
}

}  // namespace
}  // namespace platform
