// From a call to the message that the service receives, and what of the host's input is refused on the way.

#include "src/autocapture/KovaUtil.h"
#include "src/core/KovaInputTransformer.h"
#include "src/storage/KIWaitingRoom.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using testing::ElementsAre;

namespace {

using CustomEventTest = TrackerTest;

TEST_F(CustomEventTest, EachKindHasItsEventDictionaryAndItsDebugLine) {
  device.startAndSettle();
  const Dictionary none, a{{"a", 1}}, b{{"b", true}};
  const struct {
    std::function<void()> call;
    std::string line, event;
  } cases[] = {
      {[&] { Kova::track("Checkout"); }, R"(custom event "Checkout" with
 - properties: (null))",
       R"("customEvent":{"type":"Checkout"})"},
      {[&] { Kova::frameworkAutocaptureEvent("Tap", "react", a); }, R"("react" framework event "Tap" with
 - source properties: {
    a = 1;
})",
       R"("sourceEvent":{"type":"Tap","source":"react","sourceProperties":{"a":{"string":"1"}}})"},
      {[&] { Kova::frameworkTrack("Tap", a, "react", b); }, R"("react" framework custom event "Tap" with
 - properties: {
    a = 1;
}
 - source properties: {
    b = 1;
})",
       R"("sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{"b":{"bool":true}},)"
       R"("customProperties":{"a":{"string":"1"}}})"},
      {[&] { Kova::frameworkTrack("Tap", none, "react", none); }, R"("react" framework custom event "Tap" with
 - properties: {
}
 - source properties: {
})",
       R"("sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{}})"},
  };
  for (const auto& each : cases) {
    EXPECT_THAT(linesOf(each.call),
                ElementsAre("[KOVA DEBUG]: Logged " + each.line + "\n - eventProperties: {\n}"));
  }
  send();
  const auto messages = device.receivedMessages();
  ASSERT_EQ(messages.size(), 1 + std::size(cases));
  for (std::size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(json(at(messages[i + 1], "event")), "{" + cases[i].event + R"(,"appVisibilityState":2})");

  device.application->enterBackground();
  device.drain();
  Kova::track("Checkout");
  Kova::changeInterval(15);  // sends at once
  device.drain();
  device.settle();
  EXPECT_EQ(json(at(lastMessage(), "event")),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":1})");
}

// What a thread other than the main one calls passes through the main queue, and must not be overtaken by
// what it calls next.
TEST_F(CustomEventTest, CallsOfOneThreadTakeEffectInTheirOrder) {
  device.startAndSettle();
  const auto worker = device.scheduler.makeSerialQueue("worker", QualityOfService::Default);
  for (const bool isOnWorker : {false, true}) {
    SCOPED_TRACE(isOnWorker);
    Kova::identify("ada");
    device.drain();
    const std::string userId = *Kova::userId();
    const std::string sessionId = *Kova::sessionId();
    const NSDate before = device.scheduler.now();
    const auto calls = [&] {
      Kova::addEventProperties({{"tier", "gold"}});
      Kova::track("Bye");
      device.scheduler.setWallClock(before.adding(60));
      Kova::clearEventProperties();
      Kova::resetIdentity();
      Kova::track("Hello");
    };
    isOnWorker ? worker->async(calls) : calls();
    send();
    const auto messages = device.receivedMessages();
    ASSERT_GE(messages.size(), 2u);
    const Dictionary& bye = messages[messages.size() - 2];
    const Dictionary& hello = messages.back();
    EXPECT_EQ(at(bye, "user"), (Value{{"id", userId}, {"identity", "ada"}}));
    EXPECT_EQ(at(bye, "sessionInfo/id"), Value(sessionId));
    EXPECT_EQ(json(at(bye, "properties")), R"({"tier":{"string":"gold"}})");
    EXPECT_EQ(at(bye, "timestamp"), Value(KovaUtil::epochStringForDate(before)));
    EXPECT_EQ(at(hello, "user"), (Value{{"id", *Kova::userId()}}));
    EXPECT_EQ(at(hello, "sessionInfo/id"), Value(*Kova::sessionId()));
    EXPECT_NE(at(hello, "pageviewInfo/id"), at(bye, "pageviewInfo/id"));
    EXPECT_EQ(at(hello, "properties"), Value());
  }
}

TEST_F(CustomEventTest, IsRefusedWhileTooManyWait) {
  device.startAndSettle();
  std::vector<KIWaitingRoom::Seat> others;
  while (auto seat = KIWaitingRoom::takeSeat()) others.push_back(*std::move(seat));
  EXPECT_EQ(others.size(), KIWaitingRoom::kSeats);
  EXPECT_THAT(linesOf([] { Kova::track("crowd"); }),
              ElementsAre("[KOVA DEBUG]: Too many events wait to be stored, ignoring: <crowd>"));
  EXPECT_EQ(Kova::status().events.refused, 1u);

  others.pop_back();
  for (const char* name : {"first", "second"}) {  // each gives its seat back
    Kova::track(name);
    device.drain();
  }
  send();
  EXPECT_THAT(sentEvents(), testing::IsSupersetOf({"first", "second"}));
  EXPECT_THAT(sentEvents(), testing::Not(testing::Contains("crowd")));
}

TEST_F(CustomEventTest, WhatIsNoDictionaryIsDiscardedWithALine) {
  device.startAndSettle();
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { Kova::addEventProperties("text"); }, "NSString"},
      {[] { Kova::addUserProperties(3); }, "NSNumber"},
      {[] { Kova::track("Checkout", Array{"a"}); }, "NSArray"}};
  for (const auto& [call, type] : cases) {
    EXPECT_EQ(linesOf(call)[0],
              "[KOVA DEBUG]: Event/user properties were of type " + type + " and were discarded");
  }
  send();
  EXPECT_EQ(json(at(lastMessage(), "event")),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":2})");
}

TEST_F(CustomEventTest, ValuesBecomeTheirDescriptionsAndBooleansStay) {
  const Value properties{{"text", "a \"b\""},
                         {"three", 3},
                         {"real", 2.5},
                         {"one", 1},
                         {"yes", true},
                         {"no", false},
                         {"date", NSDate::withTimeIntervalSince1970(0)},
                         {"null", nullptr},
                         {"nested", Dictionary{{"key", Array{1, "b c"}}}},
                         {7, "a key of another kind"}};
  Dictionary typed, flat;
  EXPECT_THAT(linesOf([&] {
                typed = KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties);
              }),
              ElementsAre("[KOVA DEBUG]: Property key of type NSNumber was discarded: 7"));
  EXPECT_EQ(json(typed),
            R"({"text":{"string":"a \"b\""},"three":{"string":"3"},"real":{"string":"2.5"},)"
            R"("one":{"string":"1"},"yes":{"bool":true},"no":{"bool":false},)"
            R"("date":{"string":"1970-01-01 00:00:00 +0000"},"null":{"string":"<null>"},)"
            R"("nested":{"string":"{\n    key =     (\n        1,\n        \"b c\"\n    );\n}"}})");
  EXPECT_THAT(
      linesOf([&] { flat = KovaInputTransformer::serializablePropertyDictionaryForProperties(properties); }),
      ElementsAre("[KOVA DEBUG]: AddUserProperties: ignoring NSNull value for null",
                  "[KOVA DEBUG]: Property key of type NSNumber was discarded"));
  EXPECT_EQ(json(flat), R"({"text":"a \"b\"","three":"3","real":"2.5","one":"1","yes":true,"no":false,)"
                        R"("date":"1970-01-01 00:00:00 +0000",)"
                        R"("nested":"{\n    key =     (\n        1,\n        \"b c\"\n    );\n}"})");
}

}  // namespace
