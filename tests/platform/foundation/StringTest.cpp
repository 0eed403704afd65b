#include "platform/foundation/String.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(StringTest, HoldsTextOfEveryLength) {
  for (const std::size_t length : {0u, 1u, 14u, 15u, 16u, 17u, 126u, 127u, 128u, 5'000u}) {
    const std::string text(length, 'x');
    String original{text};
    String copy = original;
    const String moved = std::move(original);
    EXPECT_EQ(copy.view(), text);
    EXPECT_EQ(moved, copy);
    copy = String("other");
    EXPECT_EQ(moved.view(), text) << "copies are independent";
    EXPECT_EQ(copy.view(), "other");
    copy = static_cast<const String&>(copy);
    EXPECT_EQ(copy.view(), "other");
  }
  EXPECT_EQ(String(std::string_view("a\0b", 3)).size(), 3u);
  EXPECT_EQ(String(static_cast<const char*>(nullptr)), String());
  EXPECT_LT(String("a"), String("a very long text, kept elsewhere"));
}

TEST(StringTest, ReplacesWhatIsNotUTF8) {
  struct {
    std::string_view bytes;
    std::string_view text;
  } const cases[] = {
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
      {"a\xFF"
       "b",
       "a\uFFFDb"},
      {"\xC3", "\uFFFD"},                                // cut short
      {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"a text that is too long to be held in place\x80",
       "a text that is too long to be held in place\uFFFD"},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(String(bytes).view(), text);
    EXPECT_EQ(isWellFormedUTF8(bytes), bytes == text);
    EXPECT_TRUE(isWellFormedUTF8(String(bytes)));
  }
}

}  // namespace
}  // namespace platform
