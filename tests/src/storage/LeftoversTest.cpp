// Batch files that no row names: what a killed process, a lost database or a failing disk has left behind.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>

#include "platform/foundation/NSFileManager.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

class LeftoversTest : public testing::Test {
 protected:
  // As after a restart: a new manager of what is stored.
  void reopen() {
    queues = std::make_unique<KovaQueueManager>(
        std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment),
        KovaQueueManager::Limits{200, 300, 200});
  }
  void leave(const std::string& name, const char* contents, time_t secondsAgo) const {
    NSFileManager().createFile(folder() + name, contents);
    const timespec then{std::time(nullptr) - secondsAgo, 0};
    const timespec times[2] = {then, then};
    EXPECT_EQ(utimensat(AT_FDCWD, (folder() + name).c_str(), times, 0), 0);
  }
  std::string folder() const { return device.batchDirectory() + "/"; }
  static Value named(const char* file) { return {{"messagesIdentifier", file}}; }

  SimulatedDevice device;
  std::unique_ptr<KovaQueueManager> queues;
};

TEST_F(LeftoversTest, WholeOnesThatAreSettledAreTakenUpWithinTheLimit) {
  device.store("queuedMessageBatches", Array{named("named")});
  reopen();
  leave("named", R"([{"n":0}])", 500);
  leave("younger", R"([{"n":2}])", 61);
  leave("older", R"([{"n":1}])", 5000);
  leave("too young", R"([{"n":9}])", 30);
  leave("list of others", R"([{"n":9},1])", 500);
  leave("empty", "[]", 500);
  leave("no json", "[{", 500);
  leave("B.17.partial", R"([{"n":9}])", 0);
  queues->adoptLeftovers();
  EXPECT_EQ(device.stored("queuedMessageBatches"),
            Value(Array{named("named"), named("older"), named("younger")}));
  EXPECT_FALSE(std::filesystem::exists(folder() + "B.17.partial"));
  EXPECT_EQ(device.batchFiles().size(), 7u);
  queues->dequeueMessageJSONPayloadWithMessageBatch();  // in flight, and so not left behind
  queues->adoptLeftovers();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 2u);

  std::filesystem::remove(folder() + "named");
  device.store("queuedMessageBatches", Array(std::vector<Value>(199, named("named"))));
  reopen();
  queues->adoptLeftovers();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 200u);
}

// Killed after the file and before its row, and started again at once.
TEST_F(LeftoversTest, WhatWasBecomingABatchIsNoMessageAnyMore) {
  device.store("parts", Array{{{"id", "1"}}, {{"id", "2"}}, {{"id", "3"}}});
  reopen();
  leave("becoming", R"([{"id":"1"},{"id":"2"},{"id":"never stored"}])", 0);
  leave("another's", R"([{"id":"4"}])", 0);
  queues->adoptLeftovers();
  EXPECT_EQ(device.stored("queuedMessageBatches"), Value(Array{named("becoming")}));
  EXPECT_EQ(device.stored("parts"), Value(Array{{{"id", "3"}}}));

  // Without room its messages wait in the file, for a start that finds room.
  device.store("queuedMessageBatches", Array(std::vector<Value>(200, named("another's"))));
  device.store("parts", Array{{{"id", "1"}}});
  reopen();
  queues->adoptLeftovers();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 200u);
  EXPECT_EQ(device.stored("parts"), Value(Array()));
}

}  // namespace
