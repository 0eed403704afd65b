#include "platform/foundation/ValueCoding.h"

#include <gtest/gtest.h>

#include <cmath>

namespace platform {
namespace {

TEST(ValueCodingTest, BringsBackWhatItWrote) {
  const Value values[] = {Value(),
                          true,
                          false,
                          -3,
                          ~std::uint64_t{0},
                          2.5,
                          HUGE_VAL,
                          "",
                          "grün",
                          NSDate::withTimeIntervalSince1970(2.5),
                          Array{1, "two", Array{}},
                          {{"a", {{"b", nullptr}}}, {"c", 3}}};
  ByteBuffer bytes;
  for (const Value& value : values) appendEncoded(bytes, value);
  std::string_view rest = bytes.text();
  for (const Value& value : values) EXPECT_EQ(takeDecoded(rest), std::optional(value));
  EXPECT_EQ(takeDecoded(rest), std::nullopt);
}

TEST(ValueCodingTest, AnswersNoneForWhatItHasNotWritten) {
  ByteBuffer buffer;
  appendEncoded(buffer, Value{{"key", Array{"text", 1, 2.5, NSDate::withTimeIntervalSince1970(1)}}});
  const std::string_view whole = buffer.text();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    std::string_view cut = whole.substr(0, length);
    EXPECT_EQ(takeDecoded(cut), std::nullopt) << length;
  }
  const std::string endless(100'000, '\x08');
  for (const std::string& bytes : {std::string("\x7f"), std::string("\x06\xff\xff\xff\xff"), endless}) {
    std::string_view foreign = bytes;
    EXPECT_EQ(takeDecoded(foreign), std::nullopt);
  }
}

}  // namespace
}  // namespace platform
