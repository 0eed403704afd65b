// From a call to the message that the service receives, and what of the host's input is refused on the way.

#include <filesystem>
#include <fstream>

#include "platform/foundation/NSFileManager.h"
#include "src/autocapture/KovaUtil.h"
#include "src/core/KovaInputTransformer.h"
#include "src/storage/KICallLog.h"
#include "src/storage/KIWaitingRoom.h"
#include "tests/src/core/TrackerFixture.h"
#include "tests/support/ResourceLimit.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class CallsTest : public TrackerTest {
 protected:
  CallsTest() {
    device.startAndSettle();
    userId = Kova::userId().value();
    sessionId = Kova::sessionId().value();
  }

  // Since this was asked last.
  bool isNewUserWithNewSession() {
    const std::string user = std::exchange(userId, Kova::userId().value());
    const std::string session = std::exchange(sessionId, Kova::sessionId().value());
    EXPECT_EQ(user == userId, session == sessionId);
    return user != userId;
  }

  std::string userId;
  std::string sessionId;
};

TEST_F(CallsTest, EachKindHasItsEventDictionaryAndItsDebugLine) {
  const Dictionary none, a{{"a", 1}}, b{{"b", true}};
  const struct {
    std::function<void()> call;
    std::string line, event;
  } cases[] = {
      {[] { Kova::track("Checkout"); }, "custom event \"Checkout\" with\n - properties: (null)",
       R"("customEvent":{"type":"Checkout"})"},
      {[&] { Kova::frameworkAutocaptureEvent("Tap", "react", a); },
       "\"react\" framework event \"Tap\" with\n - source properties: {\n    a = 1;\n}",
       R"("sourceEvent":{"type":"Tap","source":"react","sourceProperties":{"a":{"string":"1"}}})"},
      {[&] { Kova::frameworkTrack("Tap", a, "react", b); },
       "\"react\" framework custom event \"Tap\" with\n - properties: {\n    a = 1;\n}\n - source properties: {\n    b = 1;\n}",
       R"("sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{"b":{"bool":true}},)"
       R"("customProperties":{"a":{"string":"1"}}})"},
      {[&] { Kova::frameworkTrack("Tap", none, "react", none); },
       "\"react\" framework custom event \"Tap\" with\n - properties: {\n}\n - source properties: {\n}",
       R"("sourceCustomEvent":{"type":"Tap","source":"react","sourceProperties":{}})"}};
  for (const auto& each : cases) {
    EXPECT_THAT(linesOf(each.call),
                ElementsAre("[KOVA DEBUG]: Logged " + each.line + "\n - eventProperties: {\n}"));
  }
  device.upload();
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
TEST_F(CallsTest, CallsOfOneThreadTakeEffectInTheirOrder) {
  const auto worker = device.scheduler.makeSerialQueue("worker", QualityOfService::Default);
  for (const bool isOnWorker : {false, true}) {
    SCOPED_TRACE(isOnWorker);
    Kova::identify("ada");
    device.drain();
    const std::string user = *Kova::userId();
    const std::string session = *Kova::sessionId();
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
    device.upload();
    const auto messages = device.receivedMessages();
    ASSERT_GE(messages.size(), 2u);
    const Dictionary& bye = messages[messages.size() - 2];
    const Dictionary& hello = messages.back();
    EXPECT_EQ(at(bye, "user"), (Value{{"id", user}, {"identity", "ada"}}));
    EXPECT_EQ(at(bye, "sessionInfo/id"), Value(session));
    EXPECT_EQ(json(at(bye, "properties")), R"({"tier":{"string":"gold"}})");
    EXPECT_EQ(at(bye, "timestamp"), Value(KovaUtil::epochStringForDate(before)));
    EXPECT_EQ(at(hello, "user"), (Value{{"id", *Kova::userId()}}));
    EXPECT_EQ(at(hello, "sessionInfo/id"), Value(*Kova::sessionId()));
    EXPECT_NE(at(hello, "pageviewInfo/id"), at(bye, "pageviewInfo/id"));
    EXPECT_EQ(at(hello, "properties"), Value());
  }
}

TEST_F(CallsTest, IsRefusedWhileTooManyWait) {
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
  device.upload();
  EXPECT_THAT(sentEvents(), IsSupersetOf({"first", "second"}));
  EXPECT_THAT(sentEvents(), Not(Contains("crowd")));
}

TEST_F(CallsTest, WhatIsNoDictionaryIsDiscardedWithALine) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { Kova::addEventProperties("text"); }, "NSString"},
      {[] { Kova::addUserProperties(3); }, "NSNumber"},
      {[] { Kova::track("Checkout", Array{"a"}); }, "NSArray"}};
  for (const auto& [call, type] : cases) {
    EXPECT_EQ(linesOf(call)[0],
              "[KOVA DEBUG]: Event/user properties were of type " + type + " and were discarded");
  }
  device.upload();
  EXPECT_EQ(json(at(lastMessage(), "event")),
            R"({"customEvent":{"type":"Checkout"},"appVisibilityState":2})");
}

TEST_F(CallsTest, ValuesBecomeTheirDescriptionsAndBooleansStay) {
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

TEST_F(CallsTest, AUserIsAnonymousUntilIdentifiedAndANewOneUnderAnotherNameOrOnceReset) {
  EXPECT_THAT(linesOf([] { Kova::identify(""); }), IsEmpty());
  EXPECT_THAT(
      linesOf([] {
        Kova::identify(Dictionary{{"name", "ada"}});
      }),
      ElementsAre("Kova: The `identify:(NSDictionary *)properties` method has been removed. Please use "
                  "`identify:(NSString *)identity` and `addUserProperties:(NSDictionary *)properties`"));
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  for (int call = 0; call < 2; ++call) {
    EXPECT_THAT(linesOf([] { Kova::identify("ada @home"); }),
                ElementsAre("[KOVA DEBUG]: Identified user with identity: ada @home"));
    EXPECT_EQ(Kova::identity(), "ada%20%40home");
    EXPECT_FALSE(isNewUserWithNewSession());
  }
  device.upload();

  // The first line tells of the call, the second of the one that follows the reset.
  EXPECT_THAT(linesOf([] { Kova::identify("grace"); }),
              ElementsAre("[KOVA DEBUG]: Identified user with identity: grace",
                          "[KOVA DEBUG]: Identified user with identity: grace"));
  const std::string ada = userId;
  EXPECT_TRUE(isNewUserWithNewSession());
  EXPECT_THAT(userId, MatchesRegex("[0-9]{16}"));
  Kova::track("Checkout");
  device.upload();
  EXPECT_THAT(sentParameters("/api/identify_v3", "u"), ElementsAre(ada, userId));
  EXPECT_THAT(sentParameters("/api/identify_v3", "i"), ElementsAre("ada%20%40home", "grace"));
  EXPECT_THAT(sentParameters("/h", "z"), ElementsAre("0", "0")) << "a new user";

  Kova::setTrackingEnabled(false);  // does not matter
  Kova::resetIdentity();
  device.drain();
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_TRUE(isNewUserWithNewSession());
}

// Commits in the log of the library's database: the frames that say how large the database is after them.
std::size_t commitsInLog() {
  std::ifstream log(directories().preferences + "/" + directories().applicationIdentifier + ".sqlite-wal",
                    std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(log)), {});
  std::size_t commits = 0;
  for (std::size_t frame = 32; frame < bytes.size(); frame += 24 + 4096)  // a header and a page
    commits += bytes.substr(frame + 4, 4) != std::string(4, '\0');
  return commits;
}

TEST_F(CallsTest, AnIdentityCallIsStoredInOneStep) {
  for (const char* name : {"ada", "grace", static_cast<const char*>(nullptr)}) {
    const std::size_t before = commitsInLog();
    name ? Kova::identify(name) : Kova::resetIdentity();
    device.drain();
    EXPECT_EQ(commitsInLog(), before + 1) << "identity, user id and URL of " << (name ? name : "nobody");
  }
}

TEST_F(CallsTest, ChangesOfPropertiesAreToldAndAddedOnlyWhileTracking) {
  const auto nowAre = [](const std::string& call, const std::string& properties) {
    return ElementsAre("[KOVA DEBUG]: Called +[Kova " + call + "]. Event properties are now: {\n" +
                       properties + "}");
  };
  EXPECT_THAT(linesOf([] {
                Kova::addEventProperties({{"tier", 3}, {"beta", true}});
              }),
              nowAre("addEventProperties:", "    beta = 1;\n    tier = 3;\n"));
  Kova::setTrackingEnabled(false);
  Kova::addEventProperties({{"more", 1}});
  EXPECT_THAT(linesOf([] { Kova::removeEventProperty("tier"); }),
              nowAre("removeEventProperty:", "    beta = 1;\n"));
  Kova::setTrackingEnabled(true);

  EXPECT_THAT(linesOf([] {
                Kova::addUserProperties({{"plan", "pro"}, {"seats", 3}});
              }),
              ElementsAre("[KOVA DEBUG]: Added user properties: {\n    plan = pro;\n    seats = 3;\n}"));
  EXPECT_THAT(linesOf([] { Kova::addUserProperties(Dictionary()); }), IsEmpty());
  EXPECT_THAT(linesOf([] { Kova::clearEventProperties(); }), nowAre("clearEventProperties", ""));
}

TEST_F(CallsTest, ACallIsDoneOnceTheStoreHasIt) {
  const std::string calls = directories().applicationSupport + "/kova-12345.calls";
  const auto left = [&calls] {  // to a process that would start now
    const std::string copy = calls + ".copy";
    std::filesystem::copy_file(calls, copy, std::filesystem::copy_options::overwrite_existing);
    KICallLog log;
    log.open(copy);
    return log.takeLeft({}).calls.size();
  };
  device.store("somebodyElses", std::string(200'000, 'x'));
  {
    const auto full = ResourceLimit::fileSize(100'000);
    Kova::identify("ada");
    device.drain();
    EXPECT_EQ(storedText("identity"), "ada") << "to this process";
    EXPECT_EQ(left(), 1u);
  }
  device.application->enterBackground();
  device.drain();
  EXPECT_EQ(left(), 0u);
}

}  // namespace
