#include "platform/foundation/Random.h"

#include <regex>
#include <set>
#include <thread>
#include <vector>

#include "platform/foundation/NSUUID.h"
#include "tests/platform/foundation/FolderFixture.h"

namespace platform {
namespace {

TEST(RandomTest, FillsSpansLongerThanItsBuffer) {
  std::vector<std::byte> bytes(1000);
  fillWithRandomBytes(bytes);
  for (auto at = bytes.begin(); at != bytes.end(); at += 100)
    EXPECT_LT(std::count(at, at + 100, std::byte{0}), 100);
}

TEST(RandomTest, NeitherThreadsNorAForkedChildRepeatNumbers) {
  std::set<std::uint32_t> drawn{arc4random()};  // from a buffer that the child inherits
  std::atomic<int>& inChild = sharedNumber();
  Child([&] { inChild = static_cast<int>(arc4random()); }).wait();
  drawn.insert({arc4random(), static_cast<std::uint32_t>(inChild.load())});
  for (int i = 0; i < 2; ++i) std::thread([&] { drawn.insert(arc4random()); }).join();
  EXPECT_EQ(drawn.size(), 5u);
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
