#include "src/identity/KIIdUtil.h"

#include <gtest/gtest.h>

namespace {

// The expected ids were computed apart from this code, with Python's hashlib. The MD5 of "a" is
// 0cc175b9c0f1b6a831c399e269772661: its bytes 0-3, last first, are b975c10c, and of bytes 8-15, last first,
// the low 21 bits are 19c331: 0x19c331b975c10c.
TEST(KIIdUtil, DerivesTheSameIdFromTheSameTextForEver) {
  EXPECT_EQ(KIIdUtil::computeUserId("a"), 7251492750082316u);
  EXPECT_EQ(KIIdUtil::computeUserId("0"), 8980151767453135u);
  EXPECT_EQ(KIIdUtil::computeUserId("ada@example.com"), 5742933229122622u);
}

TEST(KIIdUtil, CountsOneByteForAUTF16UnitAndDropsItsHighBits) {
  // One byte e9, where UTF-8 has two.
  EXPECT_EQ(KIIdUtil::computeUserId("café"), 6835247015534486u);
  // U+0161 counts as 61, like the letter a.
  EXPECT_EQ(KIIdUtil::computeUserId("š"), KIIdUtil::computeUserId("a"));
  EXPECT_EQ(KIIdUtil::computeUserId("aš"), 1247980237366337u);
  // Two units, D83D and DE00, count as 3d 00.
  EXPECT_EQ(KIIdUtil::computeUserId("😀"), 2783353468441025u);
}

TEST(KIIdUtil, TrimsBothEndsAndAnswersZeroForBlanks) {
  EXPECT_EQ(KIIdUtil::computeUserId(" \r\n a\t\n"), KIIdUtil::computeUserId("a"));
  EXPECT_EQ(KIIdUtil::computeUserId("\u00A0a\u2028"), KIIdUtil::computeUserId("a"));
  EXPECT_NE(KIIdUtil::computeUserId("a a"), KIIdUtil::computeUserId("aa"));
  EXPECT_EQ(KIIdUtil::computeUserId(""), 0u);
  EXPECT_EQ(KIIdUtil::computeUserId(" \t\r\n"), 0u);
}

}  // namespace
