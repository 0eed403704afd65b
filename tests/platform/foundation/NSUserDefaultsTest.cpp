#include "platform/foundation/NSUserDefaults.h"

#include <cmath>
#include <limits>
#include <map>
#include <thread>

#include "platform/foundation/internal/StoredForm.h"
#include "platform/foundation/internal/StoredList.h"
#include "platform/runtime/NSObject.h"
#include "tests/platform/foundation/UserDefaultsFixture.h"

namespace platform {
namespace {

using NSUserDefaultsTest = UserDefaultsTest;

// What is read is stored anew, because its text tells kinds apart that compare equal.
TEST_F(NSUserDefaultsTest, BringsEveryKindOfValueBackInItsStoredForm) {
  const std::pair<Value, std::string> cases[] = {
      {nullptr, "null"},
      {Array{true, false}, "[true,false]"},
      {1, "1"},
      {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
      {std::numeric_limits<std::int64_t>::max(), "9223372036854775807"},
      {Array{3.0, 5e-324, 0.1, -0.0}, "[3.0,5e-324,0.1,-0.0]"},
      {Array{HUGE_VAL, std::nan("")}, R"([{"$real":"inf"},{"$real":"nan"}])"},
      {-HUGE_VAL, R"({"$real":"-inf"})"},
      {"äöü \"quoted\" \n 😀", R"("äöü \"quoted\" \n 😀")"},
      {std::string("a\0b", 3), R"("a\u0000b")"},
      {"", R"("")"},
      {NSDate::withTimeIntervalSince1970(1795228923.25), R"({"$date":1795228923.25})"},
      {Array{1, "two", Array{}, Dictionary{}}, R"([1,"two",[],{}])"},
      {{{"b", {{"$date", 5}}}, {"a", nullptr}}, R"({"b":{"$$date":5},"a":null})"},
      {{{"$", 1}, {"$$date", NSDate::withTimeIntervalSince1970(-0.5)}, {"$real", "nan"}},
       R"({"$$":1,"$$$date":{"$date":-0.5},"$$real":"nan"})"}};
  for (const auto& [value, form] : cases) {
    open()->setObject(value, "key");
    EXPECT_EQ(stored("key"), form);
    const auto defaults = open();
    defaults->setObject(*defaults->objectForKey("key"), "again");
    EXPECT_EQ(stored("again"), form);
  }
  EXPECT_TRUE(lines.empty());
}

TEST_F(NSUserDefaultsTest, TypedGettersFollowThePlatformsRules) {
  const auto defaults = open();
  defaults->setObjects({{"", "text"},
                        {"integer", 7},
                        {"real", 2.5},
                        {"boolean", true},
                        {"array", Array{1}},
                        {"dictionary", Dictionary{{"k", 1}, {"l", 2}}},
                        {"null", Value()}});
  // The key, its text, the number of its items and that of its entries.
  const std::tuple<const char*, std::optional<std::string>, std::size_t, std::size_t> cases[] = {
      {"", "text", 0, 0}, {"integer", "7", 0, 0}, {"real", "2.5", 0, 0},    {"boolean", "1", 0, 0},
      {"null", {}, 0, 0}, {"array", {}, 1, 0},    {"dictionary", {}, 0, 2}, {"missing", {}, 0, 0}};
  for (const auto& [key, text, items, entries] : cases) {
    SCOPED_TRACE(key);
    EXPECT_EQ(std::optional<std::string>(defaults->stringForKey(key)), text);
    const std::optional<Array> array = defaults->arrayForKey(key);
    EXPECT_EQ(array ? array->size() : 0, items);
    const std::optional<Dictionary> dictionary = defaults->dictionaryForKey(key);
    EXPECT_EQ(dictionary ? dictionary->size() : 0, entries);
  }
  EXPECT_TRUE(defaults->objectForKey("null")->isNull());
}

TEST_F(NSUserDefaultsTest, RefusesWhatHasNoStoredFormAndKeepsWhatWasThere) {
  const auto defaults = open();
  defaults->setObject("before", "key");
  defaults->setObject(Array{std::make_shared<NSObject>()}, "key");
  defaults->setObject({{1, "a key that is no string"}}, "key");
  EXPECT_EQ(defaults->stringForKey("key"), "before");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("\"key\""), std::string::npos);
}

TEST_F(NSUserDefaultsTest, SuitesAreApartAndSharedWithinAProcess) {
  EXPECT_EQ(open(), open());
  EXPECT_EQ(&NSUserDefaults::standardUserDefaults(),
            NSUserDefaults::withSuiteName("com.example.storefront").get());
  NSUserDefaults::standardUserDefaults().setObject("standard", "key");
  open()->setObject("suite", "key");
  NSUserDefaults::withSuiteName("../up/../../and away")->setObject("odd", "key");
  EXPECT_EQ(NSUserDefaults::standardUserDefaults().stringForKey("key"), "standard");
  EXPECT_EQ(NSUserDefaults::withSuiteName("../up/../../and away")->stringForKey("key"), "odd");
  EXPECT_TRUE(std::filesystem::exists(preferences + "/com.example.storefront.sqlite"));
  EXPECT_TRUE(std::filesystem::exists(preferences + "/%2E.%2Fup%2F..%2F..%2Fand%20away.sqlite"));
}

TEST_F(NSUserDefaultsTest, AnAcknowledgedSetSurvivesKill9) {
  std::atomic<int>& acknowledged = sharedNumber();
  Child writer([&] {
    const auto defaults = open();
    for (int i = 0;; acknowledged = ++i) {
      // Now and then a large one, so that the death may fall into a set of many pages.
      defaults->setObject(Array{i, std::string(i % 10 == 0 ? 200'000 : 20, 'x')},
                          "k" + std::to_string(i % 500));
    }
  });
  ASSERT_TRUE(reaches(acknowledged, 1200));
  writer.killNow();

  const auto defaults = open();
  const int next = acknowledged;
  for (int i = next - 500; i < next; ++i) {
    const std::optional<Array> array = defaults->arrayForKey("k" + std::to_string(i % 500));
    ASSERT_TRUE(array) << i;
    // The set in progress at the moment of death may have been stored too, in the place of the oldest.
    EXPECT_TRUE((*array)[0] == Value(i) || (i == next - 500 && (*array)[0] == Value(next))) << i;
  }
  EXPECT_TRUE(lines.empty());
}

TEST_F(NSUserDefaultsTest, TwoProcessesWriteAtOnceAndSeeEachOther) {
  constexpr int kRounds = 300;
  std::atomic<int>& steps = sharedNumber();
  const auto writeAndRead = [&](const std::string& own, const std::string& others) {
    const auto defaults = open();
    ++steps;
    reaches(steps, 2);
    for (int i = 0; i < kRounds; ++i) defaults->setObject(i, own + std::to_string(i));
    storeAll(*defaults);
    ++steps;
    reaches(steps, 4);
    int seen = 0;
    while (seen < kRounds && defaults->objectForKey(others + std::to_string(seen)) == Value(seen)) ++seen;
    return seen;
  };
  Child child([&] { _exit(writeAndRead("child", "parent") == kRounds ? 0 : 1); });
  EXPECT_EQ(writeAndRead("parent", "child"), kRounds);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(filesAside().empty());
}

TEST_F(NSUserDefaultsTest, ThreadsShareASuite) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        const std::string key = std::to_string(t) + "-" + std::to_string(i);
        open()->setObject(i, key);
        EXPECT_EQ(open()->objectForKey(key), Value(i));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(open()->objectForKey("3-99"), Value(99));
}

const Value kLong(std::string(1500, 'x'));
const Value kOther("$other");

constexpr int kFromScratch = -1;
// What has changed, before and after, and of how many rows the change is.
const std::tuple<const char*, Value, Value, int> kCases[] = {
    {"nothing", Array{kLong, kLong}, Array{kLong, kLong}, 0},
    {"one more", Array{kLong, kLong}, Array{kLong, kLong, kOther}, 1},
    {"the first one gone", Array{kOther, kLong, kLong}, Array{kLong, kLong}, 1},
    {"the first one changed", Array{1, kLong, kLong}, Array{1.0, kLong, kLong}, 1},
    {"two in front", Array{kLong, kLong}, Array{1, 2, kLong, kLong}, 2},
    {"one in the middle for two", Array{kLong, 1, 2, kLong}, Array{kLong, 3, kLong}, 2},
    {"one between two neighbours", Array{kLong, kOther, kLong}, Array{kLong, 1, kOther, kLong}, kFromScratch},
    {"no more items", Array{kLong, kLong}, Array{}, kFromScratch},
    {"another kind", Array{kLong, kLong}, Value{{"a", kLong}, {"b", kLong}}, kFromScratch},
    {"another entry", Value{{"a", kLong}, {"b", kLong}}, Value{{"a", kLong}, {"b", kLong}, {"$c", 1}}, 1},
    {"an entry's value", Value{{"a", kLong}, {"b", kLong}}, Value{{"a", 2}, {"b", kLong}}, 1},
    {"an entry gone", Value{{"a", kLong}, {"b", 1}, {"c", kLong}}, Value{{"a", kLong}, {"c", kLong}}, 1},
};

TEST(StoredListTest, AChangeIsOfTheRowsThatDiffer) {
  for (const auto& [what, old, next, rowsOfChange] : kCases) {
    SCOPED_TRACE(what);
    std::map<std::int64_t, std::string> rows;
    const auto listAfter = [&](const auto& change) {
      for (const auto& [place, item] : change.items) item ? rows[place] = *item : (rows.erase(place), "");
      StoredText text{*change.text, {}};
      for (const auto& [place, item] : rows) text.items.push_back({place, item});
      return listIn(text);
    };
    const auto before = listAfter(changeTo(old)->change);
    const auto change = changeTo(next, *before);
    ASSERT_EQ(change ? static_cast<int>(change->change.items.size()) : kFromScratch, rowsOfChange);
    if (!change) continue;
    const auto after = listAfter(change->change);
    EXPECT_EQ(storedForm(after->value), storedForm(next));
    EXPECT_EQ(after->places, change->list->places);
    EXPECT_NE(after->mark(), before->mark());
  }
}

constexpr const char* kForeignMark = R"({"$items":"array 1 0"})";

TEST(StoredListTest, NoPlaceIsCountedOnFromTheLastNumber) {
  const auto list = listIn({kForeignMark, {{0, "1"}, {std::numeric_limits<std::int64_t>::max(), "2"}}});
  EXPECT_FALSE(changeTo(Array{1, 2, 3}, *list));
}

TEST_F(NSUserDefaultsTest, AMarkWithoutATableOfItemsIsAnEmptyList) {
  UserDefaultsDatabase(path()).write({{"key", kForeignMark}});
  const auto array = open()->arrayForKey("key");
  ASSERT_FALSE(array.isUnreadable());
  EXPECT_TRUE(array->empty());
}

TEST_F(NSUserDefaultsTest, AnotherProcessesChangeIsSeenAndItsListIsReplacedWhole) {
  UserDefaultsDatabase other(path());
  open()->setObject(Array{kLong, kLong}, "key");
  const auto defaults = open();
  EXPECT_EQ(Value(*defaults->arrayForKey("key")), Value(Array{kLong, kLong}));
  other.write({{"key", "[1,2]"}});
  EXPECT_TRUE(defaults->setObject(Array{kLong, kLong, 3}, "key"));
  EXPECT_EQ(listIn(*other.read("key"))->value, Value(Array{kLong, kLong, 3}));
  other.write({{"key", "[1,2]"}});
  EXPECT_EQ(Value(*defaults->arrayForKey("key")), Value(Array{1, 2}));
}

TEST_F(NSUserDefaultsTest, ItemsGoWithTheirKeyWhoeverRemovesOrReplacesIt) {
  for (const std::optional<std::string>& by : {std::optional<std::string>("\"short\""), {}}) {
    open()->setObject(Array{kLong, kLong}, "key");
    const std::string mark = *stored("key");
    UserDefaultsDatabase other(path());
    ASSERT_EQ(other.read("key")->items.size(), 2U);
    other.write({{"key", by}});
    other.write({{"key", mark}});
    EXPECT_TRUE(other.read("key")->items.empty());
  }
}

}  // namespace
}  // namespace platform
