#include "platform/foundation/NSJSONSerialization.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/foundation/JSONObjectTexts.h"
#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

Value nested(int levels) {
  Value value = Array();
  for (int i = 1; i < levels; ++i) value = i % 2 == 0 ? Value(Array{value}) : (Value{{"a", value}});
  return value;
}

TEST(NSJSONSerializationTest, WritesCompactTextInOrderAndReadsItBack) {
  const std::pair<Value, std::optional<std::string>> cases[] = {
      {{{"z", Array{1, -2.5, 0.1f, true, false, nullptr, Array(), Dictionary()}},
        {"a", "caf\u00e9 \"q\" \\ \n\t\x01"},
        {"longer than a word", "a word, \x1f\b\f\r \x7f\"and another\\"},
        {"",
         Array{std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max(), 1e300}}},
       "{\"z\":[1,-2.5,0.1,true,false,null,[],{}],\"a\":\"caf\u00e9 \\\"q\\\" \\\\ \\n\\t\\u0001\","
       "\"longer than a word\":\"a word, \\u001F\\b\\f\\r \x7f\\\"and another\\\\\","
       "\"\":[-9223372036854775808,18446744073709551615,1e300]}"},
      {Array(), "[]"},
      {nested(512), std::nullopt}};
  for (const auto& [value, expected] : cases) {
    const auto text = NSJSONSerialization::dataWithJSONObject(value);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, expected.value_or(*text));
    EXPECT_EQ(NSJSONSerialization::JSONObjectWithData(*text), value);
  }
}

TEST(NSJSONSerializationTest, RefusesWhatIsNoJSON) {
  const Value refused[] = {"text",
                           3,
                           Value(),
                           Array{std::numeric_limits<double>::quiet_NaN()},
                           Array{std::numeric_limits<double>::infinity()},
                           Array{NSDate()},
                           Array{std::make_shared<NSObject>()},
                           Dictionary{{1, "number as key"}},
                           Dictionary{{nullptr, 1}},
                           {{"deep", Array{{{"a", -std::numeric_limits<double>::infinity()}}}}},
                           nested(513)};
  for (const Value& value : refused) {
    EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(value)) << value.description();
    EXPECT_EQ(NSJSONSerialization::dataWithJSONObject(value), std::nullopt);
  }
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(MutableDictionary{{"a", NSDate()}}));
  EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(MutableDictionary{{"a", 1}}));
}

TEST(NSJSONSerializationTest, WritesOneObjectAfterAnotherAsItWritesEach) {
  const Dictionary user{{"id", "1"}}, equal{{"id", "1"}}, other{{"id", "2"}}, nothing;
  JSONObjectTexts texts;
  for (const Dictionary& who : {user, user, user, other, user, user, nothing, nothing, nothing, equal}) {
    const MutableDictionary object{{"count", 1}, {"user", who}, {"twice", who}};
    EXPECT_EQ(texts.textOf(object), NSJSONSerialization::dataWithJSONObject(Dictionary(object)));
    EXPECT_EQ(texts.textOf(MutableDictionary{{"user", Dictionary{{"at", NSDate()}}}}), std::nullopt);
  }
  EXPECT_TRUE(texts.textOf(MutableDictionary{{"a", nested(503)}}));
  EXPECT_FALSE(texts.textOf(MutableDictionary{{"a", nested(504)}}));
}

TEST(NSJSONSerializationTest, ReadsKindsAndRefusesMalformedText) {
  const std::pair<const char*, Value> good[] = {{" 3 ", 3},
                                                {"3.0", 3.0},
                                                {"0e308", 0.0},
                                                {"-1.5E-3", -0.0015},
                                                {"true", true},
                                                {"null", Value()},
                                                {"\"\\u00e9\\ud83d\\ude00\"", "\u00e9\U0001F600"},
                                                {"-18446744073709551615", -18446744073709551615.0},
                                                {R"({"a":1,"b":2,"a":3})", {{"a", 3}, {"b", 2}}}};
  for (const auto& [text, value] : good) {
    EXPECT_EQ(NSJSONSerialization::JSONObjectWithData(text), value) << text;
  }
  EXPECT_TRUE(NSJSONSerialization::JSONObjectWithData("3")->isInteger());
  EXPECT_TRUE(NSJSONSerialization::JSONObjectWithData("3.0")->isReal());
  for (const std::string bad :
       {"", "{", "[1,]", "{\"a\"}", "{1:2}", "[1] x", "nul", "\"\xFF\"", "\"\\ud83d\"", "NaN", "1e999"}) {
    EXPECT_EQ(NSJSONSerialization::JSONObjectWithData(bad), std::nullopt) << bad;
  }
  EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(std::string(513, '[') + std::string(513, ']')));
  EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(std::string(1'000'000, '[')));
}

}  // namespace
}  // namespace platform
