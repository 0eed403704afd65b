#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

// OpenSSL's own: what it may use in the process from now on.
extern "C" int EVP_set_default_properties(void* context, const char* properties);

namespace platform {
namespace {

TEST(TextTest, UTF16HasSurrogatesBeyondTheFirstPlane) {
  EXPECT_EQ(utf16("a\u00e9\u20ac\U0001F600"), u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(utf16("a\xFF"
                  "b"),
            u"a\uFFFDb");
  EXPECT_EQ(utf16(""), u"");
}

TEST(TextTest, APrefixTakesWhatCompletesItsLastCharacter) {
  EXPECT_EQ(utf16Length("a\u00e9\u20ac\U0001F600"), 5u);
  struct {
    const char* text;
    std::size_t units;
    const char* prefix;
  } const cases[] = {
      {"abc", 2, "ab"},
      {"abc", 3, "abc"},
      {"abc", 9, "abc"},
      {"abc", 0, ""},
      {"", 3, ""},
      {"a\U0001F600b", 2, "a\U0001F600"},                                       // between surrogates
      {"e\u0301\u0323x", 1, "e\u0301\u0323"},                                   // marks
      {"\u0301x", 1, "\u0301"},                                                 // a mark on nothing
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 1, "\U0001F1E9\U0001F1EA"},  // flags come in pairs
      {"\U0001F469\u200D\U0001F680!", 1, "\U0001F469\u200D\U0001F680"},         // a joined emoji
      {"\r\nx", 1, "\r\n"},
  };
  for (const auto& [text, units, prefix] : cases) {
    EXPECT_EQ(composedCharacterSequencesForPrefix(text, units), prefix) << text << " at " << units;
  }
  std::string endless = "e";
  for (int i = 0; i < 100'000; ++i) endless += "\u0301";
  EXPECT_EQ(utf16Length(composedCharacterSequencesForPrefix(endless, 64)), 64u + 1024u);
}

TEST(TextTest, TrimsWhiteSpaceOfAnyScript) {
  EXPECT_EQ(trimmingWhitespaceAndNewlines(" \t\r\n a b \u00a0\u3000\u2028\u0085"), "a b");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(" \u2003\n "), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(""), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines("\u200ba"), "\u200ba") << "a zero-width space is none";
}

TEST(TextTest, RemovesTheLastComposedCharacter) {
  EXPECT_EQ(removingLastCharacter("ab"), "a");
  EXPECT_EQ(removingLastCharacter("ae\u0301\u0323"), "a") << "a letter and its accents";
  EXPECT_EQ(removingLastCharacter("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7"), "\U0001F1E9\U0001F1EA")
      << "two flags";
  EXPECT_EQ(removingLastCharacter("a\U0001F469\u200d\U0001F467"), "a") << "a joined sequence";
  EXPECT_EQ(removingLastCharacter("\u0301"), "");
  EXPECT_EQ(removingLastCharacter("a\xFF"), "a");
  EXPECT_EQ(removingLastCharacter(""), "");
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

TEST(TextTest, MD5EvenWhereTheHostForbidsIt) {
  ASSERT_EQ(EVP_set_default_properties(nullptr, "fips=yes"), 1);
  const std::uint8_t bytes[] = {'a', 'b', 'c'};
  const std::array<std::uint8_t, 16> expected = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                                 0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
  EXPECT_EQ(CC_MD5(bytes), expected);
}

}  // namespace
}  // namespace platform
