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

TEST(RandomTest, DrawsDifferentNumbersWithEveryBitInUse) {
  std::set<std::uint32_t> seen;
  std::array<int, 32> ones{};
  constexpr int kDraws = 4000;
  for (int i = 0; i < kDraws; ++i) {
    const std::uint32_t number = arc4random();
    seen.insert(number);
    for (unsigned bit = 0; bit < 32; ++bit) ones[bit] += (number >> bit) & 1;
  }
  EXPECT_GT(seen.size(), kDraws - 10u);
  // Seven standard deviations of a fair coin.
  for (const int count : ones) EXPECT_NEAR(count, kDraws / 2, 7 * 32);
}

TEST(RandomTest, ThreadsDrawDifferentNumbers) {
  std::uint32_t first[2], second[2];
  std::thread([&] { first[0] = arc4random(), first[1] = arc4random(); }).join();
  std::thread([&] { second[0] = arc4random(), second[1] = arc4random(); }).join();
  EXPECT_FALSE(first[0] == second[0] && first[1] == second[1]);
}

TEST(RandomTest, FillsSpansLongerThanItsBuffer) {
  std::vector<std::byte> bytes(1000);
  fillWithRandomBytes(bytes);
  for (std::size_t start = 0; start < bytes.size(); start += 100) {
    EXPECT_NE(std::count(bytes.begin() + static_cast<long>(start),
                         bytes.begin() + static_cast<long>(start) + 100, std::byte{0}),
              100);
  }
}

TEST(RandomTest, AForkedChildDoesNotRepeatItsParent) {
  arc4random();  // a buffer that the child inherits
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const std::uint32_t numbers[2] = {arc4random(), arc4random()};
    _exit(write(ends[1], numbers, sizeof numbers) == static_cast<ssize_t>(sizeof numbers) ? 0 : 1);
  }
  const std::uint32_t own[2] = {arc4random(), arc4random()};
  std::uint32_t theirs[2];
  ASSERT_EQ(read(ends[0], theirs, sizeof theirs), static_cast<ssize_t>(sizeof theirs));
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(own[0] == theirs[0] && own[1] == theirs[1]);
}

}  // namespace
}  // namespace platform
