#include "platform/foundation/internal/StoredList.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "platform/foundation/internal/StoredForm.h"
#include "tests/platform/foundation/UserDefaultsFixture.h"

namespace platform {
namespace {

const Value kLong(std::string(1500, 'x'));
const Value kOther("$other");

struct Case {
  const char* what;
  Value before;
  Value after;
  int rowsOfChange;  // none when it has to be written from scratch
};
constexpr int kFromScratch = -1;

const Case kCases[] = {
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

StoredText stored(const std::map<std::int64_t, std::string>& rows, const std::string& mark) {
  StoredText text{mark, {}};
  for (const auto& [place, item] : rows) text.items.push_back({place, item});
  return text;
}

TEST(StoredListTest, AChangeIsOfTheRowsThatDiffer) {
  for (const Case& example : kCases) {
    SCOPED_TRACE(example.what);
    const auto whole = changeTo(example.before);
    std::map<std::int64_t, std::string> rows;
    for (const auto& [place, item] : whole->change.items) rows[place] = *item;
    const auto before = listIn(stored(rows, *whole->change.text));
    const auto change = changeTo(example.after, *before);
    ASSERT_EQ(change ? static_cast<int>(change->change.items.size()) : kFromScratch, example.rowsOfChange);
    if (!change) continue;
    for (const auto& [place, item] : change->change.items)
      item ? rows[place] = *item : (rows.erase(place), "");
    const auto after = listIn(stored(rows, *change->change.text));
    EXPECT_EQ(storedForm(after->value), storedForm(example.after));
    EXPECT_EQ(after->places, change->list->places);
    EXPECT_NE(after->mark(), before->mark());
  }
}

constexpr const char* kForeignMark = R"({"$items":"array 1 0"})";

TEST(StoredListTest, NoPlaceIsCountedOnFromTheLastNumber) {
  const auto list = listIn({kForeignMark, {{0, "1"}, {std::numeric_limits<std::int64_t>::max(), "2"}}});
  EXPECT_FALSE(changeTo(Array{1, 2, 3}, *list));
}

using ListsOfUserDefaultsTest = UserDefaultsTest;

TEST_F(ListsOfUserDefaultsTest, AMarkWithoutATableOfItemsIsAnEmptyList) {
  UserDefaultsDatabase(path()).write({{"key", kForeignMark}});
  const auto array = open()->arrayForKey("key");
  ASSERT_FALSE(array.isUnreadable());
  EXPECT_TRUE(array->empty());
}

TEST_F(ListsOfUserDefaultsTest, AnotherProcessesChangeIsSeenAndItsListIsReplacedWhole) {
  const Array list{kLong, kLong};
  UserDefaultsDatabase other(path());
  open()->setObject(list, "key");
  const auto defaults = open();
  EXPECT_EQ(Value(*defaults->arrayForKey("key")), Value(list));
  other.write({{"key", "[1,2]"}});
  EXPECT_TRUE(defaults->setObject(Array{kLong, kLong, 3}, "key"));
  EXPECT_EQ(listIn(*other.read("key"))->value, Value(Array{kLong, kLong, 3}));
  other.write({{"key", "[1,2]"}});
  EXPECT_EQ(Value(*defaults->arrayForKey("key")), Value(Array{1, 2}));
}

TEST_F(ListsOfUserDefaultsTest, ItemsGoWithTheirKeyWhoeverRemovesOrReplacesIt) {
  for (const char* by : {"\"short\"", static_cast<const char*>(nullptr)}) {
    const Value list = Array{kLong, kLong};
    open()->setObject(list, "key");
    const std::string mark = *stored("key");
    UserDefaultsDatabase other(path());
    ASSERT_EQ(other.read("key")->items.size(), 2U);
    other.write({{"key", by ? std::optional<std::string>(by) : std::nullopt}});
    other.write({{"key", mark}});
    EXPECT_TRUE(other.read("key")->items.empty());
  }
}

}  // namespace
}  // namespace platform
