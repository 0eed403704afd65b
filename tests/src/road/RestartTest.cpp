#include <chrono>

#include "tests/src/road/RoadTest.h"

using namespace platform;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

namespace {

using RestartTest = RoadTest;

TEST_F(RestartTest, UserAndPropertiesComeBackAndWhatWasQueuedIsSentOnce) {
  std::string user;
  std::string session;
  {
    RoadHost host = launch({.version = "1.0", .isOnline = false});
    host.call("identify", {"ann@example.com"});
    host.call("addEventProperties", {{{"seat", "12A"}}});
    host.call("track", {"Offline"});
    host.call("background");
    user = host.call("userId").text();
    session = host.call("sessionId").text();
    host.exit();
    EXPECT_TRUE(service.records("").empty());
  }
  {
    RoadHost host = launch({.version = "1.1"});
    EXPECT_EQ(host.call("userId"), Value(user));
    EXPECT_EQ(host.call("identity"), Value("ann%40example.com"));
    host.call("track", {"Online"});
    host.call("changeInterval", {kBriefly});
    const auto messages = service.messages(4);
    EXPECT_THAT(namesOf(messages), ElementsAre("lifecycleEvent", "Offline", "lifecycleEvent", "Online"));
    EXPECT_EQ(textAt(messages[1].find("sessionInfo")->dictionary(), "id"), session);
    EXPECT_NE(textAt(messages[3].find("sessionInfo")->dictionary(), "id"), session);
    const Dictionary upgrade = messages[2].find("event")->dictionary().find("lifecycleEvent")->dictionary();
    EXPECT_EQ(textAt(upgrade, "previousVersionCode"), "1.0");
    EXPECT_EQ(*upgrade.find("isUpgrade"), Value(true));
    EXPECT_EQ(json(*messages[0].find("user")), R"({"id":")" + user + R"("})");
    for (std::size_t i = 1; i < messages.size(); ++i) {
      EXPECT_EQ(json(*messages[i].find("user")), R"({"id":")" + user + R"(","identity":"ann@example.com"})");
    }
    EXPECT_EQ(json(*messages[3].find("properties")), R"({"seat":{"string":"12A"}})");
    EXPECT_EQ(service.records("identify", 1).size(), 1u);
    EXPECT_THAT(parameters(service.records("h", 2), "z"), ElementsAre("1", "0"));
    flush(host);
    host.exit();
  }
  EXPECT_TRUE(messagesAfterRelaunch().empty());
  EXPECT_EQ(service.records("identify").size(), 1u);
}

// In flight when the process ends: the first pixel and the first batch. Waiting behind them: a pixel and a
// batch.
class EndInFlightTest : public RoadTest {
 protected:
  void sendWithoutAnswer(RoadHost& host) {
    host.call("addUserProperties", {{{"colour", "green"}}});
    host.call("track", {"In flight"});
    host.call("online", {true});
    host.call("changeInterval", {15});
    message_ = textAt(service.messages(1)[0], "id");
    pageview_ = parameters(service.records("h", 1), "st")[0];
    host.call("track", {"Waiting"});
  }
  void expectNothingLost() {
    service.behave(R"({"mode":"normal"})");
    const auto messages = messagesAfterRelaunch();
    EXPECT_THAT(namesOf(messages), ElementsAre("In flight", "Waiting"));
    EXPECT_EQ(textAt(messages.at(0), "id"), message_);
    EXPECT_THAT(parameters(service.records("user-properties", 1), "_colour"), ElementsAre("green"));
    // The relaunched host has a pageview of its own.
    EXPECT_THAT(parameters(service.records("h", 3), "st"), IsSupersetOf({pageview_, pageview_}));
  }

 private:
  std::string message_;
  std::string pageview_;
};

TEST_F(EndInFlightTest, AKilledHostLosesNothing) {
  service.behave(R"({"mode":"silent"})");
  RoadHost host = launch({.isOnline = false});
  sendWithoutAnswer(host);
  host.kill();
  expectNothingLost();
}

TEST_F(EndInFlightTest, AHostThatExitsLeavesAtOnceAndLosesNothing) {
  service.behave(R"({"mode":"silent"})");
  RoadHost host = launch({.isOnline = false});
  sendWithoutAnswer(host);
  const auto before = std::chrono::steady_clock::now();
  host.exit();
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - before;
  RecordProperty("milliseconds", std::to_string(taken.count()));
  EXPECT_LT(taken.count(), 1000);
  expectNothingLost();
}

TEST_F(RestartTest, AShutdownStoresWhatItCannotSendInTime) {
  const struct {
    const char* event;
    RoadHost::Settings settings;
    const char* service;
    double seconds;
    Array storedAndSent;
  } cases[] = {
      {"Sent", {}, "normal", 10, {true, true}},
      {"Offline", {.isOnline = false}, "normal", 10, {true, false}},
      {"Unanswered", {}, "silent", 0.5, {true, false}},
      {"Without a pageview", {.hasPageview = false}, "normal", 10, {true, false}},
  };
  for (const auto& leaving : cases) {
    service.behave(json(Dictionary{{"mode", leaving.service}}));
    RoadHost host = launch(leaving.settings);
    EXPECT_EQ(host.call("leave", {leaving.event, leaving.seconds}), Value(leaving.storedAndSent))
        << leaving.event;
    host.call("track", {"Too late"});
    host.kill();
  }
  service.behave(R"({"mode":"normal"})");
  messagesAfterRelaunch();
  EXPECT_THAT(namesOf(service.messages()),
              AllOf(IsSupersetOf({"Sent", "Offline", "Unanswered", "Without a pageview"}),
                    Not(Contains("Too late"))));
}

}  // namespace
