#include "src/events/KovaURLString.h"

#include "src/autocapture/KovaUtil.h"
#include "tests/src/events/MessageFixture.h"

using namespace platform;

namespace {

using KovaURLStringTest = MessageTest;

TEST_F(KovaURLStringTest, AppendsTheTimeOfNow) {
  std::string url = "h?a=1";
  KOVA_appendTimestampParameter(url);
  EXPECT_EQ(url, "h?a=1&ts=1767225600000");
}

TEST_F(KovaURLStringTest, ExtractsQueryParameters) {
  const std::string url = "h?t=first&h=a%20b%26c&x=1&y=&t=last&z&tt=2#d=3";
  EXPECT_EQ(json(KOVA_dictionaryExtractingQueryParameters(url, {"h", "t", "d", "y", "z"})),
            R"({"t":"last","h":"a b&c","y":""})");
  EXPECT_TRUE(KOVA_dictionaryExtractingQueryParameters(url, {}).empty());
  EXPECT_TRUE(KOVA_dictionaryExtractingQueryParameters("t=1", {"t"}).empty());
}

TEST_F(KovaURLStringTest, EncodesExactlyThirtySixCharactersOfAnyValueAndDecodesText) {
  EXPECT_EQ(KovaUtil::urlEncode("!*'();:@&=+$,/?%|#[]"),
            "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%7C%23%5B%5D");
  EXPECT_EQ(KovaUtil::urlEncode("\" <>\\^`{}\t\n\r\b\a\f\v"),
            "%22%20%3C%3E%5C%5E%60%7B%7D%09%0A%0D%08%07%0C%0B");
  std::size_t changed = 0;
  for (char c = 0; c >= 0 && c < 127; ++c)
    changed += KovaUtil::urlEncode(std::string(1, c)) != std::string(1, c);
  EXPECT_EQ(changed, 36u);
  const std::string passes("AZaz09-_.~\0\x01\x1F\x7Fé漢😀", 23);
  EXPECT_EQ(KovaUtil::urlEncode(passes), passes);

  EXPECT_EQ(KovaUtil::urlEncode(3), "3");
  EXPECT_EQ(KovaUtil::urlEncode(2.5), "2.5");
  EXPECT_EQ(KovaUtil::urlEncode(true), "1");
  EXPECT_EQ(KovaUtil::urlEncode(std::nullopt), "%28null%29");
  EXPECT_EQ(KovaUtil::urlEncode(Value(nullptr)), "%3Cnull%3E");
  EXPECT_EQ(KovaUtil::urlEncode(Array{1}), "%28%0A%20%20%20%201%0A%29");
  EXPECT_EQ(KovaUtil::urlEncode(""), "");

  EXPECT_EQ(KovaUtil::urlDecode("a%20b+%C3%A9é"), "a b+éé");
  EXPECT_EQ(KovaUtil::urlDecode("50%"), "");
  EXPECT_EQ(KovaUtil::urlDecode("%FF"), "");
}

}  // namespace
