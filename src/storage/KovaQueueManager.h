#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/JSONObjectTexts.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Reading.h"
#include "platform/foundation/Value.h"
#include "src/core/Threads.h"
#include "src/storage/KICallLog.h"
#include "src/storage/KICounters.h"
#include "src/storage/KIDiskSync.h"
#include "src/storage/KIJournal.h"
#include "src/storage/KIStoredQueue.h"
#include "src/storage/store/KovaPersistentStore.h"

class KovaMessageBuilder;
class KovaTimer;

// Everything that waits to be uploaded, oldest first: pixel URLs, single messages, and batches of messages.
// Mirrored into the persistent store, so that it survives a restart.
//
// A batch is a dictionary of one entry: "messagesIdentifier", the name of a file of the store that holds the
// JSON array of its messages, or, when no file could be written, "messages", the messages themselves.
//
// Shared by the tracker and the uploader, whose request in flight may outlive the tracker. No locks. No
// operation reports an error.
class KovaQueueManager : public std::enable_shared_from_this<KovaQueueManager> {
 public:
  struct Limits {
    std::size_t queuedUrls;
    std::size_t queuedEvents;
    std::size_t queuedMessageBatches;
  };
  using Batch = platform::Dictionary;

  // Loads what the store holds, if it can be read. The calls are those of the store's place, or of nobody
  // yet.
  KovaQueueManager(std::shared_ptr<KovaPersistentStore> persistentStore, Limits limits,
                   std::shared_ptr<KICallLog> calls = std::make_shared<KICallLog>());

  // Calls are noted as soon as the store has a place. Whether the stored queues are in this one. While they
  // cannot be read, nothing is stored; what has been queued meanwhile then stands behind what was stored,
  // within the limits.
  bool load() KOVA_ON_MUTATION_QUEUE;
  bool isLoaded() const KOVA_ON_MUTATION_QUEUE { return urls_.isLoaded(); }

  // The manager of the store's environment id: the one that an earlier tracker, or its request in flight,
  // still holds, else a new one.
  static std::shared_ptr<KovaQueueManager> forStore(std::shared_ptr<KovaPersistentStore> persistentStore,
                                                    Limits limits) KOVA_ON_MAIN_THREAD;

  // Pixel URLs, relative to the capture base URL.
  bool canEnqueueUrlString() const KOVA_ON_MUTATION_QUEUE { return urls_.hasRoom(); }
  std::size_t queuedUrlStringsCount() const KOVA_ON_MUTATION_QUEUE { return urls_.size(); }
  // Refused when the queue is full.
  void enqueueUrlString(std::string_view url) KOVA_ON_MUTATION_QUEUE;
  // Counts one that is not even made, because the queue is full.
  void refuseUrlString() KOVA_ON_MUTATION_QUEUE;
  // At the front, and gives waiting messages the pageview and session that they lack.
  void enqueueFirstPageviewUrlString(std::string_view url,
                                     const KovaMessageBuilder& messageBuilder) KOVA_ON_MUTATION_QUEUE;
  // The oldest URL, absolute and stamped with its first send time; none when the queue is empty. It is in
  // flight until one of the two calls below, see KIStoredQueue.
  std::optional<platform::NSURL> dequeueUrlRelativeToUrl(const platform::NSURL& baseUrl)
      KOVA_ON_MUTATION_QUEUE;
  // Back to the front, whatever the limit.
  void requeueFailedUrl(const platform::NSURL& url) KOVA_ON_MUTATION_QUEUE;
  // The store learns of it with the next dequeueUrlRelativeToUrl, or persistQueuedUrlStrings.
  void cleanUpSentUrl(const platform::NSURL& url) KOVA_ON_MUTATION_QUEUE;

  // Single messages.
  std::size_t queuedEventsCount() const KOVA_ON_MUTATION_QUEUE { return queuedEvents_.size(); }
  // Whether the batch queue has room; the number of single messages does not matter.
  bool canEnqueueMessage() const KOVA_ON_MUTATION_QUEUE { return batches_.hasRoom(); }
  // Kept in memory and in the journal until the next batch move or persist. A message that no JSON can be
  // made of is refused with a line of debug log: in a batch, it would take all others down with it. Another
  // line, once, tells who debugs of messages that wait for a pageview for longer than an app takes to show a
  // screen.
  // The calls that it came of are done with it.
  void enqueueMessage(platform::MutableDictionary message,
                      std::span<const KICallLog::Number> calls = {}) KOVA_ON_MUTATION_QUEUE;
  // Counts one that is not even made, because the batch queue is full.
  void refuseMessage(std::span<const KICallLog::Number> calls) KOVA_ON_MUTATION_QUEUE;
  // The same of one that has not been noted, from any thread.
  void refuseMessage() { counters_->take(&KovaStatus::events, &KovaCounts::accepted, &KovaCounts::refused); }
  // Makes one batch of all messages, unless some are not enriched yet; then, and when there are none, it only
  // persists them, if asked to. Answers whether all that is queued is stored now.
  bool moveEnqueuedMessagesToBatchAndPersist(bool persistWhenNothingWasBatched = true) KOVA_ON_MUTATION_QUEUE;

  // Batches.
  std::size_t queuedMessageBatchesCount() const KOVA_ON_MUTATION_QUEUE { return batches_.size(); }
  // The JSON array of the batch; none when it cannot be read or written, unreadable when a later try may.
  platform::Reading<std::string> messageArrayDataForMessageBatch(const Batch& batch) const
      KOVA_ON_MUTATION_QUEUE;
  // The body to post, with the present time as its send time.
  platform::Reading<std::string> payloadFromMessageBatch(const Batch& batch) const KOVA_ON_MUTATION_QUEUE;
  struct Dequeued {
    std::string payload;
    Batch batch;
  };
  // The oldest batch that a body can be made of; those before it are dropped. None when the queue runs empty,
  // and when the batch whose turn it is cannot be read for the moment: it stays at the front.
  // What is taken is in flight until one of the two calls below.
  std::optional<Dequeued> dequeueMessageJSONPayloadWithMessageBatch() KOVA_ON_MUTATION_QUEUE;
  // Back to the front, whatever the limit.
  void requeueFailedMessageBatch(const Batch& batch) KOVA_ON_MUTATION_QUEUE;
  // Removes the batch's file. The store learns of it with the next dequeueMessageJSONPayloadWithMessageBatch,
  // or persistQueuedMessageBatches; should the process end before, the batch is found without its file and
  // dropped.
  void cleanUpSentMessageBatch(const Batch& batch) KOVA_ON_MUTATION_QUEUE;

  // What the host calls, and what an earlier process has left of that: once, after load().
  KICallLog& calls() { return *calls_; }
  const std::shared_ptr<KICallLog>& sharedCalls() const { return calls_; }
  // Carries out calls that make no message. What they change in the store, and that they are done, is one
  // step of the store: should the process end before it, the next start does them again. When the change
  // throws, nothing is stored, and they are not done. What is not loaded changes in memory, until it is.
  void carryOut(std::span<const KICallLog::Number> calls,
                const std::function<void()>& change) KOVA_ON_MUTATION_QUEUE;
  std::uint64_t sizeOfLeftCalls() const KOVA_ON_MUTATION_QUEUE;  // bytes
  KICallLog::Left takeLeftCalls() KOVA_ON_MUTATION_QUEUE { return std::exchange(leftCalls_, {}); }

  // Any thread. They outlive the queues for whoever holds them.
  std::shared_ptr<const KICounters> counters() const { return counters_; }

  // Whether nothing waits to be sent, in flight or not.
  bool isEmpty() const KOVA_ON_MUTATION_QUEUE {
    return urls_.isEmpty() && batches_.isEmpty() && queuedEvents_.empty();
  }

  // Of the batches that wait or are in flight.
  KovaPersistentStore::Names batchFileNames() const KOVA_ON_MUTATION_QUEUE;

  // Takes up the batches whose files a killed process, a lost database or a failing disk has left without a
  // row, behind those that wait and within their limit; messages that such a file holds wait no longer, also
  // when their batch waits for a later start. Once, before the first pass; reads each such file.
  void adoptLeftovers() KOVA_ON_MUTATION_QUEUE;

  // What is stored by now will outlive a power failure, too, in a moment.
  void synchronizeFiles() KOVA_ON_MUTATION_QUEUE;

  // Each writes the whole queue; the first, in the same step, also what the store does not hold yet of the
  // other two, and answers whether it could. Messages thus leave the store with the step that brings their
  // batch.
  bool persistQueuedEvents() KOVA_ON_MUTATION_QUEUE;
  void persistQueuedUrlStrings() KOVA_ON_MUTATION_QUEUE { urls_.persist(); }
  void persistQueuedMessageBatches() KOVA_ON_MUTATION_QUEUE { batches_.persist(); }

  // What another process has left in the store of its place, in batches, requests and single messages, comes
  // behind what waits here, each until half of its limit is taken: what this process does next finds room.
  // The rest waits in its place for a later start; a place without a rest is erased. Journal and calls of the
  // place go as soon as what came of them outlives a power failure. Only when loaded.
  void takeOver(const std::shared_ptr<KovaPersistentStore>& left) KOVA_ON_MUTATION_QUEUE;
  static bool isAnythingQueuedIn(const KovaPersistentStore& store) KOVA_ON_MUTATION_QUEUE;
  // Files of batches that no row names: their process has ended while it took them over.
  static bool areFilesLeftBehindIn(const KovaPersistentStore& store) KOVA_ON_MUTATION_QUEUE;

  // Asked of the stored queues, before any is loaded.
  static bool persistentStoreHasExcessiveQueuedData(const KovaPersistentStore& store,
                                                    Limits limits) KOVA_ON_MUTATION_QUEUE;
  static std::vector<platform::MutableDictionary> mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
      const std::vector<platform::Dictionary>& dictionaries);
  // Lets go of the store's files, and of places taken over, for whoever erases them.
  void abandonStore() KOVA_ON_MUTATION_QUEUE {
    takenOver_.clear();
    abandonJournal();
    calls_->close();
  }
  void abandonJournal() KOVA_ON_MUTATION_QUEUE { journal_.close(); }
  static void removeFromPersistentStore(KovaPersistentStore& store) KOVA_ON_MUTATION_QUEUE;

 private:
  // Drops the oldest messages that exceed the limit with that many more.
  void makeRoomForEvents(std::size_t count) KOVA_ON_MUTATION_QUEUE;
  // Whether nothing is left in the other's queues.
  bool takeQueuesOf(KovaPersistentStore& left) KOVA_ON_MUTATION_QUEUE;
  void leavePlacesTakenOver(std::size_t count) KOVA_ON_MUTATION_QUEUE;
  // Behind those that wait; one with the id of one that waits, in its place. Their texts are one each, or
  // made now.
  void takeIn(std::vector<platform::MutableDictionary> messages,
              std::vector<std::string> texts = {}) KOVA_ON_MUTATION_QUEUE;
  void append(const std::vector<platform::Value>& urls, const std::vector<platform::Value>& batches,
              const std::vector<platform::Value>& events) KOVA_ON_MUTATION_QUEUE;
  // After messages have changed: their texts, here and in the journal.
  void writeTextsAnew() KOVA_ON_MUTATION_QUEUE;
  // Of a batch; none for one of an earlier process that has not been read.
  std::optional<std::size_t> messageCount(const Batch& batch) const KOVA_ON_MUTATION_QUEUE;
  void countFound(const Batch& batch, std::string_view payload) KOVA_ON_MUTATION_QUEUE;
  void countUnreadable(const Batch& batch) KOVA_ON_MUTATION_QUEUE;
  bool hasRoomForInlineBatch() const KOVA_ON_MUTATION_QUEUE;
  void noteRefused(std::span<const KICallLog::Number> calls) KOVA_ON_MUTATION_QUEUE;
  void settleCalls() KOVA_ON_MUTATION_QUEUE;
  // None while it cannot be read.
  std::optional<KICallLog::Numbers> storedDoneCalls() const KOVA_ON_MUTATION_QUEUE;
  // Of those that the file may not call done yet, and of the ones given.
  void storeDoneCalls(std::span<const KICallLog::Number> others) KOVA_ON_MUTATION_QUEUE;
  // Unless it is part of a call that is being carried out, which does it at its end.
  void persistPushedUrl() KOVA_ON_MUTATION_QUEUE;
  void watchForAPageview() KOVA_ON_MUTATION_QUEUE;
  void sayThatMessagesWait() KOVA_ON_MUTATION_QUEUE;

  const std::shared_ptr<KovaPersistentStore> persistentStore_;
  const Limits limits_;
  KIStoredQueue<platform::String> urls_ KOVA_OF_MUTATION_QUEUE;
  std::vector<platform::MutableDictionary> queuedEvents_ KOVA_OF_MUTATION_QUEUE;
  std::vector<std::string> texts_ KOVA_OF_MUTATION_QUEUE;  // of the messages above, one each, in JSON
  platform::JSONObjectTexts messageTexts_ KOVA_OF_MUTATION_QUEUE;
  KIJournal journal_ KOVA_OF_MUTATION_QUEUE;
  const std::shared_ptr<KICallLog> calls_;
  KICallLog::Left leftCalls_ KOVA_OF_MUTATION_QUEUE;
  // Calls whose messages the journal has not taken: they are done when the store has.
  std::vector<KICallLog::Number> callsInMemory_ KOVA_OF_MUTATION_QUEUE;
  std::vector<KICallLog::Number> unstoredCalls_ KOVA_OF_MUTATION_QUEUE;  // without a message
  bool isCarryingOut_ KOVA_OF_MUTATION_QUEUE = false;
  std::size_t droppedSinceRewrite_ KOVA_OF_MUTATION_QUEUE = 0;  // messages that the journal still holds
  KIStoredQueue<Batch> batches_ KOVA_OF_MUTATION_QUEUE;
  const std::shared_ptr<KICounters> counters_ = std::make_shared<KICounters>();
  const std::shared_ptr<KIDiskSync> disk_ = std::make_shared<KIDiskSync>();
  struct TakenOver {
    std::shared_ptr<KovaPersistentStore> left;
    bool isEmpty;
  };
  // Those before the last pass that synced the files are gone.
  std::deque<TakenOver> takenOver_ KOVA_OF_MUTATION_QUEUE;
  std::size_t placesLeft_ KOVA_OF_MUTATION_QUEUE = 0;
  // In the batch files that this process has made or read.
  std::map<std::string, std::size_t, std::less<>> messageCounts_ KOVA_OF_MUTATION_QUEUE;
  // An idle app does not write the same empty queue again and again.
  bool areEventsStoredEmpty_ KOVA_OF_MUTATION_QUEUE = false;
  std::weak_ptr<KovaTimer> pageviewWatch_ KOVA_OF_MUTATION_QUEUE;
  bool hasSaidThatMessagesWait_ KOVA_OF_MUTATION_QUEUE = false;
};
