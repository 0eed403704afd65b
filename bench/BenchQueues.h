#pragma once

#include <cstddef>
#include <memory>

#include "bench/BenchHost.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaQueueManager.h"
#include "src/storage/store/KovaPersistentStore.h"

// The queues of the tracker that is running, read where they belong: on the mutation queue. A measurement
// that records nothing would be a fast one, and is found out here.
namespace bench {

class Queues {
 public:
  // After Kova::initialize.
  Queues() {
    onMutationQueue([this] {
      manager_ = KovaQueueManager::forStore(std::make_shared<KovaPersistentStore>(kEnvironment), {});
    });
  }

  struct Counts {
    std::size_t urls;
    std::size_t messages;  // single ones, in no batch yet
    std::size_t batches;
  };
  Counts counts() const {
    Counts counts{};
    onMutationQueue([&] {
      counts = {manager_->queuedUrlStringsCount(), manager_->queuedEventsCount(),
                manager_->queuedMessageBatchesCount()};
    });
    return counts;
  }

  // Both make room as if all had been sent, and tell how many there were.
  std::size_t takeMessages() const {
    std::size_t messages = 0;
    onMutationQueue([&] {
      manager_->moveEnqueuedMessagesToBatchAndPersist();
      while (const auto next = manager_->dequeueMessageJSONPayloadWithMessageBatch()) {
        messages += countOf(manager_->messageArrayDataForMessageBatch(next->batch).value_or(""));
        manager_->cleanUpSentMessageBatch(next->batch);
      }
    });
    return messages;
  }
  std::size_t takeUrls() const {
    std::size_t urls = 0;
    onMutationQueue([&] {
      const auto base = platform::NSURL::create("http://127.0.0.1:9/").value();
      for (; const auto url = manager_->dequeueUrlRelativeToUrl(base); ++urls) manager_->cleanUpSentUrl(*url);
    });
    return urls;
  }

 private:
  template <class Work>
  static void onMutationQueue(Work work) {
    KOVA_serialStateQueue()->addOperation(platform::NSBlockOperation([&work] { work(); }));
    KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  }
  static std::size_t countOf(const std::string& jsonArray) {
    const auto array = platform::NSJSONSerialization::JSONObjectWithData(jsonArray);
    return array && array->isArray() ? array->array().size() : 0;
  }

  std::shared_ptr<KovaQueueManager> manager_;
};

}  // namespace bench
