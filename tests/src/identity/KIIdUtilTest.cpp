#include "src/identity/KIIdUtil.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace {

// The expected ids were computed apart from this code, with Python's hashlib. The MD5 of "a" is
// 0cc175b9c0f1b6a831c399e269772661: its bytes 0-3, last first, are b975c10c, and of bytes 8-15, last first,
// the low 21 bits are 19c331: 0x19c331b975c10c.
TEST(KIIdUtil, DerivesTheSameIdFromTheSameTextForEver) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {"a", 7251492750082316},
      {"0", 8980151767453135},
      {"ada@example.com", 5742933229122622},
      // A UTF-16 unit counts as one byte, without its high bits: e9, where UTF-8 has two.
      {"café", 6835247015534486},
      {"š", 7251492750082316},  // U+0161, as the letter a
      {"aš", 1247980237366337},
      {"😀", 2783353468441025},  // D83D and DE00, as 3d 00
      // Both ends are trimmed, and blanks are nobody.
      {" \r\n a\t\n", 7251492750082316},
      {"\u00A0a\u2028", 7251492750082316},
      {"", 0},
      {" \t\r\n", 0}};
  for (const auto& [text, id] : cases) EXPECT_EQ(KIIdUtil::computeUserId(text), id) << text;
  EXPECT_NE(KIIdUtil::computeUserId("a a"), KIIdUtil::computeUserId("aa"));
}

}  // namespace
