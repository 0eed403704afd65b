// Batch files that no row names: what a killed process, a lost database or a failing disk has left behind.

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>

#include "platform/foundation/NSFileManager.h"
#include "tests/src/storage/QueueFixture.h"

using namespace platform;
using testing::UnorderedElementsAre;

namespace {

class LeftoversTest : public QueueTest {
 protected:
  void leave(const std::string& name, const char* contents, time_t secondsAgo) const {
    const std::string path = device.batchDirectory() + "/" + name;
    NSFileManager().createFile(path, contents);
    const timespec then{std::time(nullptr) - secondsAgo, 0};
    const timespec times[2] = {then, then};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  // After a restart with these files in the rows of stored batches, and these messages by their ids.
  void adoptBehind(std::initializer_list<const char*> files, std::initializer_list<const char*> ids = {}) {
    std::vector<Value> rows, waitingOnes;
    for (const char* file : files) rows.push_back({{"messagesIdentifier", file}});
    for (const char* id : ids) waitingOnes.push_back({{"id", id}});
    device.store("queuedMessageBatches", Array(std::move(rows)));
    device.store("parts", Array(std::move(waitingOnes)));
    reopen();
    queues->adoptLeftovers();
  }
  std::string batches() const { return stored("queuedMessageBatches"); }
};

TEST_F(LeftoversTest, WholeOnesThatAreSettledAreTakenUpWithinTheLimit) {
  leave("named", R"([{"n":0}])", 500);
  leave("younger", R"([{"n":2}])", 61);
  leave("older", R"([{"n":1}])", 5000);
  leave("too young", R"([{"n":9}])", 30);
  leave("list of others", R"([{"n":9},1])", 500);
  leave("empty", "[]", 500);
  leave("no json", "[{", 500);
  leave("B.17.partial", R"([{"n":9}])", 0);
  adoptBehind({"named"});
  EXPECT_EQ(
      batches(),
      R"([{"messagesIdentifier":"named"},{"messagesIdentifier":"older"},{"messagesIdentifier":"younger"}])");
  EXPECT_EQ(device.batchFiles().size(), 7u) << "what was being written is gone";
  queues->dequeueMessageJSONPayloadWithMessageBatch();  // in flight, and so not left behind
  queues->adoptLeftovers();
  EXPECT_EQ(waiting(), (Counts{0, 0, 2}));
  adoptBehind({"named", "named"});
  EXPECT_EQ(
      batches(),
      R"([{"messagesIdentifier":"named"},{"messagesIdentifier":"named"},{"messagesIdentifier":"older"}])");
}

TEST_F(LeftoversTest, ThoseOfOneMomentComeInTheOrderOfTheirMessages) {
  leave("c", R"([{"timestamp":"1767225600001"}])", 500);
  leave("a", R"([{"timestamp":"1767225600002"}])", 500);
  leave("b", R"([{"timestamp":"1767225600003"}])", 500);
  adoptBehind({});
  EXPECT_EQ(batches(),
            R"([{"messagesIdentifier":"c"},{"messagesIdentifier":"a"},{"messagesIdentifier":"b"}])");
}

// Killed after the file and before its row, and started again at once.
TEST_F(LeftoversTest, WhatWasBecomingABatchIsNoMessageAnyMore) {
  leave("becoming", R"([{"id":"1"},{"id":"2"},{"id":"never stored"}])", 0);
  leave("another's", R"([{"id":"4"}])", 0);
  adoptBehind({}, {"1", "2", "3"});
  EXPECT_EQ(batches(), R"([{"messagesIdentifier":"becoming"}])");
  EXPECT_EQ(stored("parts"), R"([{"id":"3"}])");
  // Without room they stay messages, and in their order, where the file holds nothing else; if it does, they
  // wait in it for a start that finds room.
  leave("becoming later", R"([{"id":"3"}])", 0);
  adoptBehind({"another's", "another's", "another's"}, {"1", "3"});
  EXPECT_EQ(waiting(), (Counts{0, 1, 3}));
  EXPECT_EQ(stored("parts"), R"([{"id":"3"}])");
  EXPECT_THAT(device.batchFiles(), UnorderedElementsAre("another's", "becoming"));
}

}  // namespace
