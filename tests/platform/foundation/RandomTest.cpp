#include "platform/foundation/Random.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <set>
#include <thread>
#include <vector>

namespace platform {
namespace {

TEST(RandomTest, DrawsDifferentNumbers) {
  std::set<std::uint32_t> seen;
  for (int i = 0; i < 4000; ++i) seen.insert(arc4random());
  EXPECT_GT(seen.size(), 3990u);
}

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

}  // namespace
}  // namespace platform
