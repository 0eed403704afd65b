#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(TextTest, UTF16HasSurrogatesBeyondTheFirstPlane) {
  EXPECT_EQ(utf16("a\u00e9\u20ac\U0001F600"), u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(utf16("a\xFF"
                  "b"),
            u"a\uFFFDb");
  EXPECT_EQ(utf16(""), u"");
}

TEST(TextTest, TrimsWhiteSpaceOfAnyScript) {
  EXPECT_EQ(trimmingWhitespaceAndNewlines(" \t\r\n a b \u00a0\u3000\u2028\u0085"), "a b");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(" \u2003\n "), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(""), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines("\u200ba"), "\u200ba") << "a zero-width space is none";
}

TEST(TextTest, RemovesPercentEncoding) {
  struct {
    const char* text;
    std::optional<std::string> decoded;
  } const cases[] = {{"", ""},
                     {"a%20b+c", "a b+c"},
                     {"%C3%A9%c3%a9", "\u00e9\u00e9"},
                     {"100%25", "100%"},
                     {"%", std::nullopt},
                     {"%2", std::nullopt},
                     {"%2G", std::nullopt},
                     {"%%20", std::nullopt},
                     {"%FF", std::nullopt},
                     {"%C3", std::nullopt}};
  for (const auto& [text, decoded] : cases) EXPECT_EQ(removingPercentEncoding(text), decoded) << text;
}

TEST(TextTest, MD5) {
  const std::uint8_t bytes[] = {'a', 'b', 'c'};
  const std::array<std::uint8_t, 16> expected = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                                 0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
  EXPECT_EQ(CC_MD5(bytes), expected);
}

}  // namespace
}  // namespace platform
