#include "platform/foundation/Value.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>

#include "platform/foundation/ValueCoding.h"
#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

class Cart : public NSObject {
  NS_OBJECT(Cart, NSObject)

 public:
  std::string description() const override { return "a \"cart\""; }
};

constexpr NSDate kDate = NSDate::withTimeIntervalSince1970(1767225600);

std::vector<std::string> keysOf(const auto& dictionary) {
  std::vector<std::string> keys;
  for (const Entry& entry : dictionary) keys.push_back(entry.first.description());
  return keys;
}

TEST(ValueTest, KeepsTheKindOfALiteral) {
  using Kind = bool (Value::*)() const;
  const Kind kinds[] = {&Value::isNull,       &Value::isBoolean, &Value::isInteger, &Value::isUnsigned,
                        &Value::isReal,       &Value::isString,  &Value::isDate,    &Value::isArray,
                        &Value::isDictionary, &Value::isObject};
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  const std::tuple<Value, Kind, const char*> cases[] = {
      {nullptr, &Value::isNull, "NSNull"},
      {static_cast<const char*>(nullptr), &Value::isNull, "NSNull"},
      {std::shared_ptr<Cart>(), &Value::isNull, "NSNull"},
      {true, &Value::isBoolean, "NSNumber"},
      {3, &Value::isInteger, "NSNumber"},
      {std::uint8_t{200}, &Value::isInteger, "NSNumber"},
      {kLargest / 2, &Value::isInteger, "NSNumber"},
      {kLargest / 2 + 1, &Value::isUnsigned, "NSNumber"},
      {2.5, &Value::isReal, "NSNumber"},
      {2.5f, &Value::isReal, "NSNumber"},
      {"a", &Value::isString, "NSString"},
      {'a', &Value::isString, "NSString"},
      {kDate, &Value::isDate, "NSDate"},
      {Array{}, &Value::isArray, "NSArray"},
      {{{"a", 1}}, &Value::isDictionary, "NSDictionary"},
      {std::make_shared<Cart>(), &Value::isObject, "Cart"}};
  for (const auto& [value, kind, className] : cases) {
    for (const Kind each : kinds) EXPECT_EQ((value.*each)(), each == kind) << value.description();
    EXPECT_EQ(value.isNumber(), value.className() == "NSNumber");
    EXPECT_EQ(value.className(), className);
  }
  EXPECT_THROW(Value("3").integer(), std::bad_variant_access);
}

TEST(ValueTest, TakesWhatTheCppLibraryHas) {
  using namespace std::chrono_literals;
  using Lists = std::map<std::string, std::vector<int>>;
  const std::optional<int> none;
  const std::pair<Value, Value> cases[] = {
      {std::vector<std::string>{"a", "b"}, Array{"a", "b"}},
      {std::vector{true, false}, Array{true, false}},
      {std::vector{std::vector{1}, {}}, Array{Array{1}, Array{}}},
      {std::list{std::optional(1), none, std::optional(3)}, Array{1, 3}},
      {std::set{2, 1}, Array{1, 2}},
      {Lists{{"b", {1, 2}}, {"a", {}}}, {{"a", Array{}}, {"b", Array{1, 2}}}},
      {std::unordered_map<std::string_view, const char*>{{"plan", "pro"}}, {{"plan", "pro"}}},
      {std::map<int, std::optional<int>>{{1, 2}, {3, none}}, {{1, 2}}},
      {{{"seats", none}, {"rows", std::optional(4)}, {"plan", std::optional<Value>()}}, {{"rows", 4}}},
      {1500ms, 1.5},
      {std::chrono::hours(2), 7200.0},
      {std::chrono::sys_days(std::chrono::year(2026) / 1 / 1), kDate},
      {std::chrono::system_clock::from_time_t(1767225600) + 0ms, kDate}};
  for (const auto& [given, expected] : cases) {
    EXPECT_EQ(given, expected) << given.description();
    EXPECT_EQ(given.className(), expected.className());
  }
  static_assert(!std::convertible_to<std::chrono::steady_clock::time_point, Value>, "it is no date");
  static_assert(!std::convertible_to<std::optional<int>, Value>, "nothing is no value");
  static_assert(!std::convertible_to<std::vector<char>, Value>, "it is text, or bytes: no list of letters");
}

TEST(ValueTest, ComparesDeeplyAndNumbersByTheirValue) {
  const auto cart = std::make_shared<Cart>();
  EXPECT_EQ(Value(3), Value(3.0));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value(1.0), Value(true));
  EXPECT_NE(Value(3), Value("3"));
  EXPECT_NE(Value(), Value(0));
  EXPECT_EQ(Value(9007199254740993), Value(9007199254740993));
  EXPECT_NE(Value(9007199254740993), Value(9007199254740992));
  EXPECT_NE(Value(std::numeric_limits<std::int64_t>::max()), Value(std::uint64_t{1} << 63));
  EXPECT_NE(Value(std::numeric_limits<std::uint64_t>::max()),
            Value(std::numeric_limits<std::uint64_t>::max() - 1));
  EXPECT_EQ(Value(0.1f), Value(0.1));
  EXPECT_EQ(Value(cart), Value(cart));
  EXPECT_NE(Value(cart), Value(std::make_shared<Cart>()));
  EXPECT_EQ((Value{{"a", Array{1, kDate}}, {"b", nullptr}}),
            (Value{{"b", nullptr}, {"a", Array{1.0, kDate}}}));
  EXPECT_NE((Value{{"a", 1}}), (Value{{"a", 1}, {"b", 1}}));
  EXPECT_NE((Value{{"a", 1}}), (Value{{"a", 2}}));
  EXPECT_NE(Value(Array{1, 2}), Value(Array{2, 1}));
  EXPECT_NE(Value(Array{1, 2}), Value(Array{1}));
  EXPECT_NE(Value(Array()), Value(Dictionary()));
}

TEST(ValueTest, TheLastOfEqualKeysWinsInThePlaceOfTheFirst) {
  const Dictionary few{{"b", 1}, {"a", 2}, {"b", 3}, {1, "one"}, {1.0, "real one"}, {true, "yes"}};
  EXPECT_EQ(keysOf(few), (std::vector<std::string>{"b", "a", "1", "1"}));
  EXPECT_EQ(*few.find("b"), Value(3));
  EXPECT_EQ(few.find("1"), nullptr) << "a number is no text";
  const Dictionary many{{"a", 1}, {"b", 1}, {"c", 1}, {"d", 1}, {"e", 1}, {"f", 1}, {"g", 1},
                        {"h", 1}, {"i", 1}, {"j", 1}, {"k", 1}, {"l", 1}, {"m", 1}, {"n", 1},
                        {"o", 1}, {"p", 1}, {2, 1},   {"a", 2}, {2.0, 2}, {"q", 1}};
  EXPECT_EQ(many.size(), 18u);
  EXPECT_EQ(*many.find("a"), Value(2));
  EXPECT_EQ(many.begin()[16].second, Value(2));
}

TEST(ValueTest, AMutableDictionaryKeepsItsOrder) {
  const Dictionary original{{"a", 1}, {"b", 2}, {"c", 3}};
  MutableDictionary copy(original);
  copy.set("a", 10);
  copy.set("b", std::nullopt);
  copy.set("d", nullptr);
  copy.remove("missing");
  copy.merge({{"e", 5}, {"c", 30}, {"e", 50}});
  EXPECT_EQ(keysOf(copy), (std::vector<std::string>{"a", "c", "d", "e"}));
  EXPECT_EQ(Value(Dictionary(copy)), (Value{{"a", 10}, {"c", 30}, {"d", nullptr}, {"e", 50}}));
  EXPECT_EQ(Value(original), (Value{{"a", 1}, {"b", 2}, {"c", 3}})) << "the original is shared, and stays";
}

std::string described(const Array& values) {
  std::string text;
  for (const Value& value : values) text += (text.empty() ? "" : "|") + value.description();
  return text;
}

TEST(DescriptionTest, OfScalars) {
  using Double = std::numeric_limits<double>;
  EXPECT_EQ(described({std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max()}),
            "-9223372036854775808|18446744073709551615");
  EXPECT_EQ(described({3.0, -0.0, 2.5, 0.1, 1.0 / 3, 0.1 + 0.2}),
            "3|-0|2.5|0.1|0.3333333333333333|0.30000000000000004");
  EXPECT_EQ(described({1e15, 1e16, 0.0001, 0.00001, 5e-324, Double::max()}),
            "1000000000000000|1e+16|0.0001|1e-05|4.940656458412465e-324|1.7976931348623157e+308");
  EXPECT_EQ(described({0.1f, 95926.26f, 100000.0f, 1e16f, 0.00001f}), "0.1|95926.26|100000|1e+16|1e-05");
  EXPECT_EQ(described({std::nan(""), -Double::infinity(), -std::numeric_limits<float>::infinity()}),
            "nan|-inf|-inf");
  EXPECT_EQ(described({nullptr, Value(), true, false, 'A', "a \"b\"\n"}), "<null>|<null>|1|0|A|a \"b\"\n");
  EXPECT_EQ(described({kDate, NSDate::withTimeIntervalSince1970(-0.5)}),
            "2026-01-01 00:00:00 +0000|1969-12-31 23:59:59 +0000");
  EXPECT_EQ(described({std::make_shared<Cart>(), Array(), Dictionary()}), "a \"cart\"|(\n)|{\n}");
  EXPECT_EQ(description(std::nullopt), "(null)");
}

TEST(DescriptionTest, OfNestedCollections) {
  const Value value{{"plan", "pro"},
                    {"long name", "a b"},
                    {"items", Array{1, 2.5, true, nullptr, "", "x_1", kDate, std::make_shared<Cart>()}},
                    {"empty", Array()},
                    {"nested", {{"b", Array{Array{"deep"}}}, {"a", "\t\"\\\x01\u00e9\U0001F600"}}}};
  EXPECT_EQ(value.description(),
            R"({
    empty =     (
    );
    items =     (
        1,
        "2.5",
        1,
        "<null>",
        "",
        "x_1",
        "2026-01-01 00:00:00 +0000",
        "a \"cart\""
    );
    "long name" = "a b";
    nested =     {
        a = "\t\"\\\001\U00e9\Ud83d\Ude00";
        b =         (
                        (
                deep
            )
        );
    };
    plan = pro;
})");
}

TEST(DescriptionTest, EndsInTheDepths) {
  Value value = "bottom";
  for (int i = 0; i < 1'000; ++i) value = Array{value};
  EXPECT_THAT(value.description(), testing::HasSubstr("…"));
}

TEST(ValueCodingTest, BringsBackWhatItWrote) {
  std::vector<Value> values{Value(),
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
  for (std::string text = "0123456789abcdefg"; !text.empty(); text.pop_back()) values.emplace_back(text);
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
  for (std::string_view foreign : {"\x7f", "\x06\xff\xff\xff\xff", endless.c_str()})
    EXPECT_EQ(takeDecoded(foreign), std::nullopt);
}

}  // namespace
}  // namespace platform
