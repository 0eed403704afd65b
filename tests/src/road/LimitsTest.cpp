#include "tests/src/road/RoadTest.h"

using namespace platform;

namespace {

// How many of each kind wait for the network; each test records 50 more.
constexpr int kUrls = 200;
constexpr int kMessages = 300;
constexpr int kBatches = 200;

using LimitsTest = RoadTest;

TEST_F(LimitsTest, OfPixelsTheOldestAreKept) {
  RoadHost host = launch({.isOnline = false});
  for (int i = 0; i < kUrls + 50; ++i) host.call("addUserProperties", {{{"n", i}}});
  host.call("online", {true});
  host.call("changeInterval", {kBriefly});
  service.records("user-properties", kUrls);
  host.waitForLog("Sent data to Kova!");
  EXPECT_EQ(parameters(service.records("user-properties"), "_n"), numbers(0, kUrls));
}

TEST_F(LimitsTest, OfMessagesBeforeTheFirstPageviewTheYoungestAreKept) {
  RoadHost host = launch({.hasPageview = false});
  for (int i = 0; i < kMessages + 50; ++i) host.call("track", {std::to_string(i)});
  host.call("background");
  host.exit();
  EXPECT_EQ(namesOf(messagesAfterRelaunch()), numbers(50, kMessages));
}

TEST_F(LimitsTest, OfBatchesTheOldestAreKept) {
  RoadHost host = launch({.isOnline = false});
  for (int i = 0; i < kBatches + 50; ++i) {
    host.call("track", {std::to_string(i)});
    // Either makes a batch of what is queued.
    host.call(i % 2 == 0 ? "background" : "foreground");
  }
  host.call("online", {true});
  host.call("changeInterval", {kBriefly});
  service.messages(kBatches);
  host.waitForLog("Sent message batch to Kova!");
  EXPECT_EQ(namesOf(service.messages()), numbers(0, kBatches));
}

}  // namespace
