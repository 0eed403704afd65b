#include "platform/foundation/NSUUID.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

namespace platform {
namespace {

TEST(NSUUIDTest, WritesItsBytesInOrder) {
  const NSUUID known(
      {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff});
  EXPECT_EQ(known.UUIDString(), "00112233-4455-6677-8899-AABBCCDDEEFF");
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
