#include "src/storage/KovaQueueManager.h"

#include <cmath>
#include <filesystem>
#include <fstream>

#include "platform/foundation/internal/UserDefaultsDatabase.h"
#include "src/core/KovaLogger.h"
#include "tests/src/events/MessageFixture.h"
#include "tests/support/ResourceLimit.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const kUnserialisable = "[KOVA DEBUG]: Failed to serialize request body data to JSON";

class KovaQueueManagerTest : public MessageTest {
 protected:
  KovaQueueManagerTest() {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    reopen();
  }

  // As after a restart: a new manager of what is stored.
  void reopen() {
    queues = std::make_unique<KovaQueueManager>(
        std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment),
        KovaQueueManager::Limits{200, 300, 200});
  }

  static MutableDictionary enriched(int number) {
    return {{"n", number}, {"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}};
  }
  static MutableDictionary unenriched(int number) { return {{"n", number}}; }
  // A stored batch of one message.
  static Value inlineBatch(int number) { return {{"messages", Array{{{"n", number}}}}}; }
  void storeBatches(int count) {
    std::vector<Value> batches;
    for (int i = 0; i < count; ++i) batches.push_back(inlineBatch(i));
    device.store("queuedMessageBatches", Array(std::move(batches)));
    reopen();
  }

  // The next URL as the store would hold it.
  std::string dequeued() {
    const auto url = queues->dequeueUrlRelativeToUrl(baseUrl);
    return url ? url->absoluteString() : "(none)";
  }
  std::string dequeuedBody() {
    const auto next = queues->dequeueMessageJSONPayloadWithMessageBatch();
    return next ? next->payload : "(none)";
  }
  static std::string body(const std::string& sentTime, const std::string& messages) {
    return R"({"sentTime": ")" + sentTime + R"(", "messages": )" + messages + "}";
  }
  std::string storedText(const char* key) const {
    const auto value = device.stored(key);
    return value ? json(*value) : "(nothing)";
  }

  const NSURL baseUrl = NSURL::create("https://host.example").value();
  std::unique_ptr<KovaQueueManager> queues;
};

TEST_F(KovaQueueManagerTest, TakesUrlsOldestFirstAbsoluteAndStampedWithTheirFirstSendTime) {
  queues->enqueueUrlString("h?a=1");
  queues->enqueueUrlString("api/identify_v3?a=2");
  device.advance(1);
  const NSURL url = queues->dequeueUrlRelativeToUrl(baseUrl).value();
  EXPECT_EQ(url.absoluteString(), "https://host.example/h?a=1&st=1767225601000");
  reopen();  // the process ended before the answer
  device.advance(60);
  EXPECT_EQ(queues->dequeueUrlRelativeToUrl(baseUrl), url);
  queues->requeueFailedUrl(url);
  reopen();
  EXPECT_EQ(queues->dequeueUrlRelativeToUrl(baseUrl), url);
  queues->cleanUpSentUrl(url);
  EXPECT_EQ(dequeued(), "https://host.example/api/identify_v3?a=2&st=1767225661000");
  EXPECT_EQ(dequeued(), "(none)");
  EXPECT_EQ(device.stored("queuedPageviews")->array().size(), 1u);
}

TEST_F(KovaQueueManagerTest, DropsUrlsBeyondTheLimit) {
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(queues->canEnqueueUrlString());
    queues->enqueueUrlString("h?n=" + std::to_string(i));
  }
  EXPECT_FALSE(queues->canEnqueueUrlString());
  queues->enqueueUrlString("h?n=200");
  EXPECT_EQ(queues->queuedUrlStringsCount(), 200u);
}

TEST_F(KovaQueueManagerTest, PutsTheFirstPageviewInFrontAndEnrichesWhatWaits) {
  queues->enqueueUrlString("api/identify_v3?a=1");
  queues->enqueueMessage(unenriched(1));
  viewPages();
  queues->enqueueFirstPageviewUrlString("h?a=1", messages);
  EXPECT_EQ(storedText("queuedPageviews"), R"(["h?a=1","api/identify_v3?a=1"])");
  EXPECT_EQ(storedText("parts"), "(nothing)");
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);

  // With the URL queue full, the messages are enriched all the same.
  while (queues->canEnqueueUrlString()) queues->enqueueUrlString("x");
  queues->enqueueMessage(unenriched(2));
  queues->enqueueFirstPageviewUrlString("h?late", messages);
  EXPECT_EQ(queues->queuedUrlStringsCount(), 200u);
  EXPECT_EQ(dequeued(), "https://host.example/h?a=1&st=1767225600000");
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 2u);
}

TEST_F(KovaQueueManagerTest, PushesOutTheOldestMessageWhileNoneCanBeBatched) {
  for (int i = 0; i < 303; ++i) queues->enqueueMessage(unenriched(i));
  EXPECT_EQ(queues->queuedEventsCount(), 300u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 0u);
  EXPECT_THAT(device.batchFiles(), IsEmpty());

  queues->persistQueuedEvents();
  reopen();
  ASSERT_EQ(queues->queuedEventsCount(), 300u);
  const Array stored = device.stored("parts")->array();
  EXPECT_EQ(*stored[0].dictionary().find("n"), Value(3));
  EXPECT_EQ(*stored[299].dictionary().find("n"), Value(302));
}

TEST_F(KovaQueueManagerTest, BatchesAFullQueueOfEnrichedMessagesBeforeTheNext) {
  for (int i = 0; i < 300; ++i) queues->enqueueMessage(enriched(i));
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 0u);
  queues->enqueueMessage(enriched(300));
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);
  EXPECT_EQ(queues->queuedEventsCount(), 1u);
  // The new message is only in memory; the old ones are in the file.
  EXPECT_EQ(storedText("parts"), "[]");
  reopen();
  EXPECT_EQ(queues->queuedEventsCount(), 0u);
  const auto batch = NSJSONSerialization::JSONObjectWithData(dequeuedBody()).value();
  const Array messagesSent = batch.dictionary().find("messages")->array();
  ASSERT_EQ(messagesSent.size(), 300u);
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(*messagesSent[static_cast<std::size_t>(i)].dictionary().find("n"), Value(i));
  }
}

TEST_F(KovaQueueManagerTest, OneUnenrichedMessageHoldsBackAll) {
  queues->enqueueMessage(enriched(1));
  queues->enqueueMessage(unenriched(2));
  queues->enqueueMessage(enriched(3));
  queues->moveEnqueuedMessagesToBatchAndPersist(false);
  EXPECT_EQ(storedText("parts"), "(nothing)");
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(device.stored("parts")->array().size(), 3u);
  reopen();
  EXPECT_EQ(queues->queuedEventsCount(), 3u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 0u);

  viewPages();
  queues->enqueueFirstPageviewUrlString("h", messages);
  queues->moveEnqueuedMessagesToBatchAndPersist(false);
  reopen();
  EXPECT_EQ(queues->queuedEventsCount(), 0u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);
}

TEST_F(KovaQueueManagerTest, OnlyPersistsAnEmptyQueue) {
  queues->moveEnqueuedMessagesToBatchAndPersist(false);
  EXPECT_EQ(storedText("parts"), "(nothing)");
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(storedText("parts"), "[]");
  EXPECT_EQ(storedText("queuedMessageBatches"), "(nothing)");
  EXPECT_THAT(device.batchFiles(), IsEmpty());
}

TEST_F(KovaQueueManagerTest, DropsMessagesWhileTheBatchQueueIsFull) {
  storeBatches(199);
  EXPECT_TRUE(queues->canEnqueueMessage());
  queues->enqueueMessage(enriched(1));
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_FALSE(queues->canEnqueueMessage());
  queues->enqueueMessage(enriched(2));
  EXPECT_EQ(queues->queuedEventsCount(), 0u);

  const auto sent = queues->dequeueMessageJSONPayloadWithMessageBatch().value();
  queues->enqueueMessage(enriched(3));
  EXPECT_EQ(queues->queuedEventsCount(), 1u);
  // Neither a move nor putting back asks for the limit.
  queues->requeueFailedMessageBatch(sent.batch);
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 201u);
  EXPECT_EQ(dequeuedBody(), body("1767225600000", R"([{"n":0}])"));
  reopen();
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 201u) << "one of them was in flight";
}

TEST_F(KovaQueueManagerTest, WritesTheBodyOfABatchByteByByte) {
  queues->enqueueMessage(
      {{"name", "é \"x\""}, {"pageviewInfo", Dictionary()}, {"sessionInfo", {{"id", "7"}}}});
  queues->enqueueMessage(enriched(2));
  queues->moveEnqueuedMessagesToBatchAndPersist();
  const std::string file = device.batchFiles().at(0);
  EXPECT_EQ(storedText("queuedMessageBatches"), R"([{"messagesIdentifier":")" + file + R"("}])");
  const std::string array = R"([{"name":"é \"x\"","pageviewInfo":{},"sessionInfo":{"id":"7"}},)"
                            R"({"n":2,"pageviewInfo":{},"sessionInfo":{}}])";
  EXPECT_EQ(store->readJSONObjectDataFromDisk(file), array);

  reopen();
  device.advance(2);
  const auto next = queues->dequeueMessageJSONPayloadWithMessageBatch().value();
  EXPECT_EQ(next.payload, body("1767225602000", array));
  EXPECT_EQ(queues->messageArrayDataForMessageBatch(next.batch), array);
  device.advance(2);
  EXPECT_EQ(queues->payloadFromMessageBatch(next.batch), body("1767225604000", array));

  queues->cleanUpSentMessageBatch(next.batch);
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_EQ(storedText("queuedMessageBatches"), "[]");
}

TEST_F(KovaQueueManagerTest, KeepsMessagesInlineWhereNoFileCanBeWritten) {
  std::filesystem::remove_all(device.batchDirectory());
  std::ofstream(device.batchDirectory()) << "a regular file";
  reopen();
  queues->enqueueMessage(enriched(1));
  queues->moveEnqueuedMessagesToBatchAndPersist();
  const std::string array = R"([{"n":1,"pageviewInfo":{},"sessionInfo":{}}])";
  EXPECT_EQ(storedText("queuedMessageBatches"), R"([{"messages":)" + array + "}]");
  reopen();
  const auto next = queues->dequeueMessageJSONPayloadWithMessageBatch().value();
  EXPECT_EQ(next.payload, body("1767225600000", array));
  queues->cleanUpSentMessageBatch(next.batch);
  EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_EQ(storedText("queuedMessageBatches"), "[]");
}

TEST_F(KovaQueueManagerTest, DropsBatchesWithoutABodyAndGoesOnWithTheNext) {
  device.store("queuedMessageBatches", Array{{{"messagesIdentifier", "gone"}},
                                             {{"messagesIdentifier", 5}},
                                             {{"messages", Array{std::nan("")}}},
                                             Dictionary(),
                                             "no batch",
                                             {{"messages", Array{}}, {"messagesIdentifier", "gone too"}},
                                             inlineBatch(1),
                                             {{"messagesIdentifier", "last"}}});
  reopen();
  EXPECT_EQ(dequeuedBody(), body("1767225600000", R"([{"n":1}])"));
  EXPECT_THAT(device.log(), testing::AllOf(testing::SizeIs(5), testing::Each(kUnserialisable)));
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);
  EXPECT_EQ(device.stored("queuedMessageBatches")->array().size(), 2u);

  EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_EQ(device.log().size(), 6u);
  EXPECT_EQ(storedText("queuedMessageBatches"), R"([{"messages":[{"n":1}]}])");
}

TEST_F(KovaQueueManagerTest, KeepsABatchThatCannotBeReadForTheMomentAndAllBehindIt) {
  device.store("queuedMessageBatches", Array{{{"messagesIdentifier", "first"}}, inlineBatch(1)});
  reopen();
  // A disk error, which reading that file is: not dropped before it has outlasted a restart.
  const std::string first = device.batchDirectory() + "/first";
  std::filesystem::create_symlink("/proc/self/mem", first);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_EQ(device.logLinesWith("Input/output error").size(), 2u);

  // After the above, because a sanitizer that meets a type for the first time needs descriptors, too.
  std::filesystem::remove(first);
  NSFileManager().createFile(first, "[1]");
  {
    const auto none = ResourceLimit::descriptors(0);
    EXPECT_EQ(dequeuedBody(), "(none)");
  }
  EXPECT_EQ(device.logLinesWith("waits for the next upload: Too many open files").size(), 1u);

  EXPECT_EQ(queues->queuedMessageBatchesCount(), 2u);
  EXPECT_TRUE(device.logLinesWith("Failed to serialize").empty());
  std::filesystem::remove(first);
  std::filesystem::create_symlink("/proc/self/mem", first);
  reopen();
  EXPECT_EQ(dequeuedBody(), body("1767225600000", R"([{"n":1}])"));
  EXPECT_EQ(device.logLinesWith("Failed to serialize").size(), 1u);
}

TEST_F(KovaQueueManagerTest, WhatAStepCouldNotStoreIsStoredByTheNextPass) {
  queues = std::make_unique<KovaQueueManager>(store, KovaQueueManager::Limits{200, 300, 200});
  queues->moveEnqueuedMessagesToBatchAndPersist();  // from now on a pass has nothing of its own to store
  device.store("somebodyElses", std::string(200'000, 'x'));
  {
    const auto full = ResourceLimit::fileSize(100'000);
    EXPECT_FALSE(store->changeInOneStep([this] { queues->enqueueUrlString("h?n=1"); }));
  }
  queues->moveEnqueuedMessagesToBatchAndPersist();
  UserDefaultsDatabase database(directories().preferences + "/com.example.app.sqlite");
  EXPECT_EQ(database.read("kova_12345_queuedPageviews"), R"(["h?n=1"])");
}

TEST_F(KovaQueueManagerTest, RefusesAMessageThatNoJSONCanBeMadeOf) {
  queues->enqueueMessage(enriched(1));
  for (const Value& bad :
       {Value(std::nan("")), Value(HUGE_VAL), Value(NSDate()), Value(Dictionary{{1, "one"}})}) {
    MutableDictionary message = enriched(2);
    message.set("bad", bad);
    queues->enqueueMessage(message);
  }
  EXPECT_THAT(device.log(), testing::AllOf(testing::SizeIs(4), testing::Each(kUnserialisable)));
  EXPECT_EQ(queues->queuedEventsCount(), 1u);
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(device.batchFiles().size(), 1u);
}

TEST_F(KovaQueueManagerTest, LoadsStoredItemsOfTheRightKindAlone) {
  device.store("queuedPageviews", Array{"h?n=1", 5, nullptr});
  device.store("parts", Array{"text", {{"n", 1}}, Array{}});
  reopen();
  EXPECT_EQ(queues->queuedUrlStringsCount(), 1u);
  EXPECT_EQ(queues->queuedEventsCount(), 1u);
}

TEST_F(KovaQueueManagerTest, IsSharedByTheTrackersOfOneEnvironmentWhileItLives) {
  const KovaQueueManager::Limits limits{200, 300, 200};
  auto first = KovaQueueManager::forStore(store, limits);
  first->enqueueMessage(unenriched(1));  // in memory only
  EXPECT_EQ(KovaQueueManager::forStore(store, limits), first);
  EXPECT_NE(KovaQueueManager::forStore(std::make_shared<KovaPersistentStore>("6"), limits), first);
  first = nullptr;
  EXPECT_EQ(KovaQueueManager::forStore(store, limits)->queuedEventsCount(), 0u);
}

}  // namespace
