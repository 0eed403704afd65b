#include <filesystem>
#include <random>

#include "tests/src/storage/QueueFixture.h"

using namespace platform;

namespace {

// What the test itself has seen, against what the library counts.
class KICountersTest : public QueueTest {
 protected:
  void step(unsigned dice) {
    switch (dice % 10) {
      case 0:
      case 1:
        queues->enqueueMessage(enriched(1)), ++recorded;
        break;
      case 2:
        queues->enqueueMessage(unenriched(1)), ++recorded;
        break;
      case 3:
        queues->enqueueMessage({{"no", std::make_shared<NSObject>()}}), ++recorded;
        break;
      case 4:
        queues->enqueueUrlString(dice % 7 == 0 ? "http://[" : "/h?a=1"), ++recordedUrls;
        break;
      case 5:
        queues->moveEnqueuedMessagesToBatchAndPersist();
        break;
      case 6:
        sendBatch(dice % 3 == 0);
        break;
      case 7:
        sendUrl(dice % 3 == 0);
        break;
      case 8:
        viewPages(), queues->enqueueFirstPageviewUrlString("/h", messages), ++recordedUrls;
        break;
      case 9:
        if (dice % 4 == 0 && !device.batchFiles().empty())
          std::filesystem::remove(device.batchDirectory() + "/" + device.batchFiles().front());
    }
  }
  bool sendBatch(bool fails) {
    const auto sent = queues->dequeueMessageJSONPayloadWithMessageBatch();
    if (!sent) return false;
    if (fails) return queues->requeueFailedMessageBatch(sent->batch), true;
    delivered +=
        at(NSJSONSerialization::JSONObjectWithData(sent->payload)->dictionary(), "messages").array().size();
    queues->cleanUpSentMessageBatch(sent->batch);
    return true;
  }
  bool sendUrl(bool fails) {
    const auto url = queues->dequeueUrlRelativeToUrl(NSURL::create("http://127.0.0.1:9/").value());
    if (!url) return false;
    if (fails) return queues->requeueFailedUrl(*url), true;
    ++deliveredUrls;
    queues->cleanUpSentUrl(*url);
    return true;
  }
  KovaStatus status() const {
    const KovaStatus status = queues->counters()->status();
    for (const KovaCounts& counts : {status.events, status.requests}) {
      EXPECT_EQ(counts.accepted + counts.found, counts.waiting + counts.delivered + counts.pushedOut +
                                                    counts.refused + counts.unsendable + counts.unreadable);
    }
    EXPECT_EQ(status.requests.waiting, queues->queuedUrlStringsCount());
    EXPECT_EQ(status.requests.delivered, deliveredUrls);
    EXPECT_EQ(status.events.delivered, delivered);
    EXPECT_GE(status.events.waiting, queues->queuedEventsCount());
    return status;
  }

  std::uint64_t recorded = 0, recordedUrls = 0, delivered = 0, deliveredUrls = 0;
};

TEST_F(KICountersTest, AgreeWithWhatIsSeen) {
  KovaCounts seen;
  for (unsigned seed = 0; seed < 5; ++seed) {
    std::mt19937 dice(seed);
    for (int i = 0; i < 200; ++i) {
      step(static_cast<unsigned>(dice()));
      const KovaStatus now = status();
      EXPECT_EQ(now.events.accepted, recorded);
      EXPECT_EQ(now.requests.accepted, recordedUrls);
    }
    seen = status().events;
    // The next process finds what waits, and can send all that has its pageview.
    queues->persistQueuedEvents();
    const KovaStatus before = status();
    recorded = recordedUrls = delivered = deliveredUrls = 0;
    reopen();
    while (sendBatch(false) || sendUrl(false)) {
    }
    const KovaStatus after = status();
    EXPECT_EQ(after.requests.found, before.requests.waiting);
    EXPECT_EQ(after.events.waiting, queues->queuedEventsCount());
    EXPECT_LE(after.events.found, before.events.waiting) << "a file that is gone counts as one";
  }
  EXPECT_GT(seen.pushedOut + seen.refused, 0u);
  EXPECT_GT(seen.unsendable, 0u);
  EXPECT_GT(seen.possiblyTwice, 0u);
}

TEST_F(KICountersTest, FewBatchesAreKeptWithoutAPlaceForFiles) {
  queues = nullptr;
  const auto withoutFiles = std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment,
                                                                  KovaPersistentStore::JSONStore::Disabled);
  queues = std::make_shared<KovaQueueManager>(withoutFiles, KovaQueueManager::Limits{3, 3, 200});
  for (int i = 0; i < 100; ++i) {
    queues->enqueueMessage(enriched(i));
    queues->moveEnqueuedMessagesToBatchAndPersist();
  }
  EXPECT_EQ(waiting(), (Counts{0, 3, 20}));
  EXPECT_EQ(status().events.pushedOut, 77u);
}

}  // namespace
