#include "platform/foundation/NSUserDefaults.h"

#include <cmath>
#include <thread>

#include "platform/runtime/NSObject.h"
#include "tests/platform/foundation/UserDefaultsFixture.h"

namespace platform {
namespace {

using NSUserDefaultsTest = UserDefaultsTest;

TEST_F(NSUserDefaultsTest, BringsEveryKindOfValueBackAfterReopening) {
  const Dictionary all{
      {"null", nullptr},
      {"true", true},
      {"false", false},
      {"one", 1},
      {"smallest", std::numeric_limits<std::int64_t>::min()},
      {"largest", std::numeric_limits<std::int64_t>::max()},
      {"whole real", 3.0},
      {"tiny", 5e-324},
      {"tenth", 0.1},
      {"infinite", Array{HUGE_VAL, -HUGE_VAL}},
      {"text", "äöü \"quoted\" \n 😀"},
      {"zero byte", std::string("a\0b", 3)},
      {"empty", ""},
      {"", "of the empty key"},
      {"date", NSDate::withTimeIntervalSince1970(1795228923.25)},
      {"list", Array{1, "two", Array{}, Dictionary{}}},
      {"looks like a date", {{"$date", 5}}},
      {"dollars", {{"$", 1}, {"$$date", NSDate::withTimeIntervalSince1970(-0.5)}, {"$real", "nan"}}}};
  open()->setObject(all, "all");
  for (const auto& [key, value] : all) open()->setObject(value, key.text());

  const auto defaults = open();
  EXPECT_EQ(defaults->objectForKey("all"), Value(all));
  for (const auto& [key, value] : all) {
    const std::optional<Value> back = defaults->objectForKey(key.text());
    ASSERT_TRUE(back) << key.text();
    EXPECT_EQ(*back, value) << key.text();
    // Numbers of different kinds compare equal: the kind is looked at apart.
    EXPECT_EQ(back->className(), value.className()) << key.text();
    EXPECT_EQ(back->isReal(), value.isReal()) << key.text();
    EXPECT_EQ(back->isBoolean(), value.isBoolean()) << key.text();
  }
  defaults->setObject(std::nan(""), "nan");
  EXPECT_TRUE(std::isnan(defaults->objectForKey("nan")->real()));
  defaults->setObject(-0.0, "minus zero");
  EXPECT_TRUE(std::signbit(defaults->objectForKey("minus zero")->real()));
  EXPECT_TRUE(lines.empty());
}

TEST_F(NSUserDefaultsTest, StoresTheDocumentedForm) {
  const auto defaults = open();
  defaults->setObject(
      {{"b", 3.0}, {"a", Array{1, true, nullptr}}, {"$k", NSDate::withTimeIntervalSince1970(2.5)}}, "d");
  EXPECT_EQ(stored("d"), R"({"b":3.0,"a":[1,true,null],"$$k":{"$date":2.5}})");
  defaults->setObject(-HUGE_VAL, "r");
  EXPECT_EQ(stored("r"), R"({"$real":"-inf"})");
  defaults->setObject("text", "s");
  EXPECT_EQ(stored("s"), R"("text")");
}

TEST_F(NSUserDefaultsTest, TypedGettersFollowThePlatformsRules) {
  const auto defaults = open();
  defaults->setObject("text", "string");
  defaults->setObject(7, "integer");
  defaults->setObject(2.5, "real");
  defaults->setObject(true, "boolean");
  defaults->setObject(Array{1}, "array");
  defaults->setObject({{"k", 1}}, "dictionary");
  defaults->setObject(nullptr, "null");
  EXPECT_EQ(defaults->stringForKey("string"), "text");
  EXPECT_EQ(defaults->stringForKey("integer"), "7");
  EXPECT_EQ(defaults->stringForKey("real"), "2.5");
  EXPECT_EQ(defaults->stringForKey("boolean"), "1");
  for (const char* key : {"array", "dictionary", "null", "missing"})
    EXPECT_FALSE(defaults->stringForKey(key)) << key;
  EXPECT_EQ(defaults->arrayForKey("array")->size(), 1u);
  EXPECT_FALSE(defaults->arrayForKey("dictionary"));
  EXPECT_EQ(defaults->dictionaryForKey("dictionary")->size(), 1u);
  EXPECT_FALSE(defaults->dictionaryForKey("array"));
  EXPECT_FALSE(defaults->dictionaryForKey("string"));
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
  Pipe acknowledged;
  Child writer([&] {
    const auto defaults = open();
    for (int i = 0;; ++i) {
      // Now and then a large one, so that the death may fall into a set of many pages.
      defaults->setObject(Array{i, std::string(i % 10 == 0 ? 200'000 : 20, 'x')},
                          "k" + std::to_string(i % 500));
      acknowledged.send(i);
    }
  });
  acknowledged.closeSender();
  int last = -1;
  while (last < 1200 && acknowledged.receive(last)) continue;
  writer.killNow();
  while (acknowledged.receive(last)) continue;

  ASSERT_GE(last, 1200);
  const auto defaults = open();
  for (int i = last - 499; i <= last; ++i) {
    const std::optional<Array> array = defaults->arrayForKey("k" + std::to_string(i % 500));
    ASSERT_TRUE(array) << i;
    // The set in progress at the moment of death may have been stored too, in the place of the oldest.
    EXPECT_TRUE((*array)[0] == Value(i) || (i == last - 499 && (*array)[0] == Value(last + 1))) << i;
  }
  EXPECT_TRUE(lines.empty());
}

TEST_F(NSUserDefaultsTest, TwoProcessesWriteAtOnceAndSeeEachOther) {
  constexpr int kRounds = 300;
  Pipe toParent, toChild;
  Child other([&] {
    const auto defaults = open();
    int go;
    toChild.receive(go);
    for (int i = 0; i < kRounds; ++i) defaults->setObject(i, "child" + std::to_string(i));
    storeAll(*defaults);
    toParent.send(0);
    toChild.receive(go);
    for (int i = 0; i < kRounds; ++i) {
      if (defaults->objectForKey("parent" + std::to_string(i)) != Value(i)) _exit(1);
    }
  });
  const auto defaults = open();
  toChild.send(1);
  for (int i = 0; i < kRounds; ++i) defaults->setObject(i, "parent" + std::to_string(i));
  storeAll(*defaults);
  toChild.send(2);
  int done;
  ASSERT_TRUE(toParent.receive(done));
  for (int i = 0; i < kRounds; ++i) EXPECT_EQ(defaults->objectForKey("child" + std::to_string(i)), Value(i));
  EXPECT_TRUE(other.wait());
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

}  // namespace
}  // namespace platform
