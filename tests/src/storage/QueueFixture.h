#pragma once

#include <array>

#include "src/core/KovaLogger.h"
#include "src/storage/KovaQueueManager.h"
#include "tests/src/events/MessageFixture.h"

// The queues of a store on a simulated device, each for three, and short words for what is in them.
class QueueTest : public MessageTest {
 protected:
  static constexpr KovaQueueManager::Limits kLimits{3, 3, 3};

  QueueTest() {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    reopen();
  }

  static std::shared_ptr<KovaPersistentStore> openStore() {
    return std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  }
  // As after a restart: a new manager of what is stored.
  void reopen() {
    queues = nullptr;  // one process at a time has the journal
    opened = openStore();
    queues = std::make_shared<KovaQueueManager>(opened, kLimits);
  }

  // What keeps a message from leaving is that it has no pageview and session yet.
  static platform::MutableDictionary unenriched(int number) { return {{"n", number}}; }
  static platform::MutableDictionary enriched(int number) {
    return {{"n", number}, {"pageviewInfo", platform::Dictionary()}, {"sessionInfo", platform::Dictionary()}};
  }
  void enqueueUrls(std::initializer_list<const char*> urls) {
    for (const char* url : urls) queues->enqueueUrlString(url);
  }
  void enqueueBatches(std::initializer_list<int> numbers) {
    for (const int number : numbers) {
      queues->enqueueMessage(enriched(number));
      queues->moveEnqueuedMessagesToBatchAndPersist();
    }
  }

  // URLs, messages and batches that wait.
  using Counts = std::array<std::size_t, 3>;
  Counts waiting() const {
    return {queues->queuedUrlStringsCount(), queues->queuedEventsCount(),
            queues->queuedMessageBatchesCount()};
  }
  std::string stored(const char* key) const {
    const auto value = device.stored(key);
    return value ? json(*value) : "(nothing)";
  }
  // A body to post, sent so many seconds after the start.
  static std::string body(const std::string& messages, int second = 0) {
    return R"({"sentTime": ")" + std::to_string(1767225600 + second) + R"(000", "messages": )" + messages +
           "}";
  }

  std::shared_ptr<KovaPersistentStore> opened;  // that the queues are in
  std::shared_ptr<KovaQueueManager> queues;
};
