// From a call to the message that the service receives, and what of the host's input is refused on the way.

#include <gmock/gmock.h>

#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaUtil.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CustomEventTest : public testing::Test {
 protected:
  // The text of the "event" entry of what the call records.
  std::string eventOf(const std::function<void()>& call) {
    const std::size_t requests = device.service.requestCount();
    call();
    device.advance(15);
    device.runUntilRequests(requests + 1);
    return json(at(device.receivedMessages().back(), "event"));
  }

  SimulatedDevice device;
};

TEST_F(CustomEventTest, EachKindHasItsEventDictionary) {
  device.startAndSettle();
  EXPECT_EQ(eventOf([] { Kova::track("Checkout"); }),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":2})");
  EXPECT_EQ(eventOf([] { Kova::track("Checkout", Dictionary()); }),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":2})");
  EXPECT_EQ(eventOf([] {
              Kova::frameworkAutocaptureEvent("Tap", "react", {{"a", 1}});
            }),
            R"({"sourceEvent":{"type":"Tap","source":"react","sourceProperties":{"a":{"string":"1"}}},)"
            R"("appVisibilityState":2})");
  EXPECT_EQ(
      eventOf([] { Kova::frameworkAutocaptureEvent("Tap", "react", Array{1}); }),
      R"({"sourceEvent":{"type":"Tap","source":"react","sourceProperties":{}},"appVisibilityState":2})");
  EXPECT_EQ(eventOf([] {
              Kova::frameworkTrack("Tap", {{"a", true}}, "react", {{"b", 1}});
            }),
            R"({"sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{"b":{"string":"1"}},)"
            R"("customProperties":{"a":{"bool":true}}},"appVisibilityState":2})");
  EXPECT_EQ(
      eventOf([] { Kova::frameworkTrack("Tap", Dictionary(), "react", Dictionary()); }),
      R"({"sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{}},"appVisibilityState":2})");
}

// What a thread other than the main one calls passes through the main queue, and must not be overtaken by
// what it calls next.
TEST_F(CustomEventTest, CallsOfOneThreadTakeEffectInTheirOrder) {
  device.startAndSettle();
  const auto worker = device.scheduler.makeSerialQueue("worker", QualityOfService::Default);
  for (const bool isOnWorker : {false, true}) {
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
    device.drain();
    device.settle();
    device.advance(15);
    device.settle();
    const auto messages = device.receivedMessages();
    ASSERT_GE(messages.size(), 2u);
    const Dictionary& bye = messages[messages.size() - 2];
    const Dictionary& hello = messages.back();
    EXPECT_EQ(at(bye, "user/id"), Value(userId)) << isOnWorker;
    EXPECT_EQ(at(bye, "user/identity"), Value("ada")) << isOnWorker;
    EXPECT_EQ(at(bye, "sessionInfo/id"), Value(sessionId)) << isOnWorker;
    EXPECT_EQ(json(at(bye, "properties")), R"({"tier":{"string":"gold"}})") << isOnWorker;
    EXPECT_EQ(at(bye, "timestamp"), Value(KovaUtil::epochStringForDate(before))) << isOnWorker;
    EXPECT_EQ(at(hello, "user/id"), Value(*Kova::userId())) << isOnWorker;
    EXPECT_EQ(at(hello, "sessionInfo/id"), Value(*Kova::sessionId())) << isOnWorker;
    EXPECT_NE(at(hello, "pageviewInfo/id"), at(bye, "pageviewInfo/id")) << isOnWorker;
    EXPECT_EQ(hello.find("properties"), nullptr) << isOnWorker;
  }
}

TEST_F(CustomEventTest, EventsInTheBackgroundSaySo) {
  device.startAndSettle();
  device.application->enterBackground();
  device.drain();
  Kova::track("Checkout");
  Kova::changeInterval(15);  // sends at once
  device.runUntilRequests(3);
  EXPECT_EQ(json(at(device.receivedMessages().back(), "event")),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":1})");
}

TEST_F(CustomEventTest, DebugLinesTellWhatWasLogged) {
  device.startAndSettle();
  KovaLogger::sharedInstance().setLogLevel(1);
  Kova::track("Checkout", {{"a", 1}});
  Kova::track("Checkout");
  Kova::frameworkAutocaptureEvent("Tap", "react", {{"a", 1}});
  Kova::frameworkTrack("Tap", {{"a", 1}}, "react", {{"b", 2}});
  device.drain();
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Logged custom event \"Checkout\" with\n - properties: "
                                        "{\n    a = 1;\n}\n - eventProperties: "
                                        "{\n}",
                                        "[KOVA DEBUG]: Logged custom event \"Checkout\" with\n - properties: "
                                        "(null)\n - eventProperties: {\n}",
                                        "[KOVA DEBUG]: Logged \"react\" framework event \"Tap\" with\n - "
                                        "source properties: {\n    a = 1;\n}\n - "
                                        "eventProperties: {\n}",
                                        "[KOVA DEBUG]: Logged \"react\" framework custom event \"Tap\" "
                                        "with\n - properties: {\n    a = 1;\n}\n - "
                                        "source properties: {\n    b = 2;\n}\n - eventProperties: {\n}"));
}

TEST_F(CustomEventTest, WhatIsNoDictionaryIsDiscardedWithALine) {
  device.startAndSettle();
  KovaLogger::sharedInstance().setLogLevel(1);
  EXPECT_EQ(eventOf([] { Kova::track("Checkout", Array{"a"}); }),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":2})");
  Kova::addEventProperties("text");
  Kova::addUserProperties(3);
  const char* const types[] = {"NSArray", "NSString", "NSNumber"};
  for (const std::string type : types) {
    EXPECT_THAT(device.log(),
                Contains("[KOVA DEBUG]: Event/user properties were of type " + type + " and were discarded"));
  }
  device.clearLog();
  EXPECT_FALSE(KovaInputTransformer::checkObjectForViability(Value(Dictionary())));
  EXPECT_THAT(device.log(), IsEmpty()) << "an empty one is a dictionary";
}

TEST_F(CustomEventTest, ValuesBecomeTheirDescriptionsAndBooleansStay) {
  const Dictionary properties{{"text", "a \"b\""},
                              {"three", 3},
                              {"real", 2.5},
                              {"one", 1},
                              {"yes", true},
                              {"no", false},
                              {"date", NSDate::withTimeIntervalSince1970(0)},
                              {"null", nullptr},
                              {"nested", Dictionary{{"key", Array{1, "b c"}}}},
                              {7, "a key of another kind"}};
  KovaLogger::sharedInstance().setLogLevel(1);
  const Dictionary typed =
      KovaInputTransformer::transmittableDictionaryForPropertyDictionary(Value(properties));
  EXPECT_EQ(typed.size(), properties.size() - 1) << "a key that is no text costs its property";
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: Property key of type NSNumber was discarded: 7"));
  device.clearLog();
  struct {
    const char* key;
    const char* json;
  } const cases[] = {
      {"text", R"({"string":"a \"b\""})"},
      {"three", R"({"string":"3"})"},
      {"real", R"({"string":"2.5"})"},
      {"one", R"({"string":"1"})"},
      {"yes", R"({"bool":true})"},
      {"no", R"({"bool":false})"},
      {"date", R"({"string":"1970-01-01 00:00:00 +0000"})"},
      {"null", R"({"string":"<null>"})"},
      {"nested", R"({"string":"{\n    key =     (\n        1,\n        \"b c\"\n    );\n}"})"}};
  for (const auto& [key, text] : cases) EXPECT_EQ(json(at(typed, key)), text) << key;

  const Dictionary flat =
      KovaInputTransformer::serializablePropertyDictionaryForProperties(Value(properties));
  EXPECT_EQ(json(flat), R"({"text":"a \"b\"","three":"3","real":"2.5","one":"1","yes":true,"no":false,)"
                        R"("date":"1970-01-01 00:00:00 +0000",)"
                        R"("nested":"{\n    key =     (\n        1,\n        \"b c\"\n    );\n}"})");
  EXPECT_THAT(device.log(), ElementsAre("[KOVA DEBUG]: AddUserProperties: ignoring NSNull value for null",
                                        "[KOVA DEBUG]: Property key of type NSNumber was discarded"));
}

TEST_F(CustomEventTest, AFullQueueDropsWithoutAWord) {
  device.startAndSettle();
  device.setOnline(false);
  // Each way to the background closes a batch.
  for (int i = 0; i < 200; ++i) {
    Kova::track("Kept");
    device.application->enterBackground();
    device.application->enterForeground();
    device.drain();
  }
  device.clearLog();
  KovaLogger::sharedInstance().setLogLevel(1);
  Kova::track("Dropped");
  device.drain();
  EXPECT_THAT(device.log(), IsEmpty());
  device.application->enterBackground();
  device.drain();
  EXPECT_EQ(device.stored("queuedMessageBatches")->array().size(), 200u);
  EXPECT_TRUE(device.stored("parts")->array().empty());
}

}  // namespace
