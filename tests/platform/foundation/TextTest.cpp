#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/foundation/Base64.h"
#include "platform/foundation/Digest.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/String.h"
#include "platform/runtime/NSObject.h"

// OpenSSL's.
extern "C" unsigned char* MD5(const unsigned char* bytes, std::size_t size, unsigned char* digest);
extern "C" unsigned char* SHA256(const unsigned char* bytes, std::size_t size, unsigned char* digest);

namespace platform {
namespace {

TEST(TextTest, APrefixTakesWhatCompletesItsLastCharacter) {
  EXPECT_EQ(utf16Length("a\u00e9\u20ac\U0001F600"), 5u);
  const auto prefix = composedCharacterSequencesForPrefix;
  EXPECT_EQ(prefix("", 3), "");
  EXPECT_EQ(prefix("abc", 0), "");
  EXPECT_EQ(prefix("abc", 2), "ab");
  EXPECT_EQ(prefix("abc", 3), "abc");
  EXPECT_EQ(prefix("abc", 9), "abc");
  EXPECT_EQ(prefix("a\U0001F600b", 2), "a\U0001F600") << "between surrogates";
  EXPECT_EQ(prefix("e\u0301\u0323x", 1), "e\u0301\u0323") << "marks";
  EXPECT_EQ(prefix("\u0301x", 1), "\u0301") << "a mark on nothing";
  EXPECT_EQ(prefix("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 1), "\U0001F1E9\U0001F1EA") << "flags";
  EXPECT_EQ(prefix("\U0001F469\u200D\U0001F680!", 1), "\U0001F469\u200D\U0001F680") << "a joined emoji";
  EXPECT_EQ(prefix("\r\nx", 1), "\r\n");
  std::string endless = "e";
  for (int i = 0; i < 100'000; ++i) endless += "\u0301";
  EXPECT_EQ(utf16Length(prefix(endless, 64)), 64u + 1024u);
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
  EXPECT_EQ(removingPercentEncoding("a%20b+c"), "a b+c");
  EXPECT_EQ(removingPercentEncoding("%C3%A9%c3%a9"), "\u00e9\u00e9");
  EXPECT_EQ(removingPercentEncoding("100%25"), "100%");
  for (const char* text : {"%", "%2", "%2G", "%%20", "%FF", "%C3"})
    EXPECT_EQ(removingPercentEncoding(text), std::nullopt) << text;
}

TEST(DigestTest, AgreesWithAnotherForEveryLength) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t length = 0; length <= 192; ++length) {
    decltype(CC_MD5({})) md5;
    decltype(CC_SHA256({})) sha256;
    MD5(bytes.data(), length, md5.data());
    SHA256(bytes.data(), length, sha256.data());
    EXPECT_EQ(CC_MD5(bytes), md5) << length;
    EXPECT_EQ(CC_SHA256(bytes), sha256) << length;
    bytes.push_back(static_cast<std::uint8_t>(length * 37));
  }
}

TEST(StringTest, HoldsTextOfEveryLength) {
  for (const std::size_t length : {0u, 1u, 14u, 15u, 16u, 17u, 126u, 127u, 128u, 5'000u}) {
    const std::string text(length, 'x');
    String original{text};
    String copy = original;
    const String moved = std::move(original);
    EXPECT_EQ(moved, copy);
    copy = String("other");
    EXPECT_EQ(moved.view(), text) << "copies are independent";
    copy = static_cast<const String&>(copy);
    EXPECT_EQ(copy.view(), "other");
  }
  EXPECT_EQ(String(std::string_view("a\0b", 3)).size(), 3u);
  EXPECT_EQ(String(static_cast<const char*>(nullptr)), String());
  EXPECT_LT(String("a"), String("a very long text, kept elsewhere"));
}

TEST(StringTest, ReplacesWhatIsNotUTF8) {
  const std::pair<std::string_view, std::string_view> cases[] = {
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
  for (std::string text = "0123456789abcdefg"; !text.empty(); text.pop_back()) {
    EXPECT_EQ(String(text).view(), text);
    for (std::size_t place = 0; place < text.size(); ++place) {
      const std::string before = text.substr(0, place);
      const std::string after = text.substr(place + 1);
      EXPECT_EQ(String(before + '\xFF' + after).view(), before + "\uFFFD" + after);
    }
  }
}

TEST(FormatTest, DescribesAnythingUnderTheObjectPlaceholder) {
  EXPECT_EQ(formatted("plain"), "plain");
  EXPECT_EQ(formatted("%@ %@ %@ %@", "a", std::string("b"), std::string_view("c"), String("d")), "a b c d");
  EXPECT_EQ(formatted("%@|%@|%@", 3, 2.5, true), "3|2.5|1");
  EXPECT_EQ(formatted("%@", SEL("track:withProperties:")), "track:withProperties:");
  EXPECT_EQ(formatted("%@", std::optional<Value>()), "(null)");
  EXPECT_EQ(formatted("%@", std::optional<std::string>("x")), "x");
  EXPECT_EQ(formatted("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(formatted("%@", std::shared_ptr<NSObject>()), "(null)");
  EXPECT_EQ(formatted("%@ %@", Array{1}, Dictionary{{"a", 1}}), "(\n    1\n) {\n    a = 1;\n}");
  EXPECT_EQ(formatted("%@", Value("%@ %d")), "%@ %d");
}

TEST(FormatTest, WritesNumbersAsTold) {
  EXPECT_EQ(formatted("100%% of %d", -3), "100% of -3");
  EXPECT_EQ(formatted("%ld %lld", std::numeric_limits<long>::min(), -1ll), "-9223372036854775808 -1");
  EXPECT_EQ(formatted("%llu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(formatted("%016llu", 42ull), "0000000000000042");
  EXPECT_EQ(formatted("%u", std::uint8_t{200}), "200");
  EXPECT_EQ(formatted("%f %.0f", 20.0, 1767225600000.4), "20.000000 1767225600000");
}

TEST(Base64Test, PadsAndBreaksNoLines) {
  EXPECT_EQ(base64EncodedString(""), "");
  EXPECT_EQ(base64EncodedString("f"), "Zg==");
  EXPECT_EQ(base64EncodedString("fo"), "Zm8=");
  EXPECT_EQ(base64EncodedString("foo"), "Zm9v");
  EXPECT_EQ(base64EncodedString(std::string_view("\0\xFF\xFE\x3E", 4)), "AP/+Pg==");
  EXPECT_EQ(base64EncodedString(std::string(300, '\0')), std::string(400, 'A'));
}

}  // namespace
}  // namespace platform
