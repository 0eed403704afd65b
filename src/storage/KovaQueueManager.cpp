#include "src/storage/KovaQueueManager.h"

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/Clock.h"
#include "src/core/KovaLogger.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

namespace {

constexpr std::string_view kMessagesKey = "messages";
constexpr std::string_view kMessagesIdentifierKey = "messagesIdentifier";
constexpr std::string_view kIdKey = "id";  // of a message
constexpr std::string_view kSendTimeParameter = "&st=";

template <class Entries>
const Value* stringIn(const Entries& entries, std::string_view key) {
  const Value* value = entries.find(key);
  return value && value->isString() ? value : nullptr;
}

// Of a message; empty when it has none.
std::string idOf(const MutableDictionary& message) {
  const Value* id = stringIn(message, kIdKey);
  return id ? id->string().str() : std::string();
}

Array arrayOf(const std::vector<MutableDictionary>& messages) {
  std::vector<Value> items;
  items.reserve(messages.size());
  for (const MutableDictionary& message : messages) items.emplace_back(Dictionary(message));
  return Array(std::move(items));
}

constexpr KICounters::Kind kEvents = &KovaStatus::events;
constexpr KICounters::Kind kRequests = &KovaStatus::requests;

// The JSON array of texts that are JSON.
std::string arrayOf(const std::vector<std::string>& texts) {
  std::size_t length = 2;
  for (const std::string& text : texts) length += text.size() + 1;
  std::string array;
  array.reserve(length);
  for (const std::string& text : texts) {
    array += array.empty() ? '[' : ',';
    array += text;
  }
  return array + ']';
}

}  // namespace

KovaQueueManager::KovaQueueManager(std::shared_ptr<KovaPersistentStore> persistentStore, Limits limits,
                                   std::shared_ptr<KICallLog> calls)
    : persistentStore_(std::move(persistentStore)),
      limits_(limits),
      urls_(*persistentStore_, KovaPersistentPropertyKeyQueuedUrlStrings, limits.queuedUrls),
      journal_(*persistentStore_),
      calls_(std::move(calls)),
      batches_(*persistentStore_, KovaPersistentPropertyKeyQueuedMessageBatches,
               limits.queuedMessageBatches) {
  load();
}

bool KovaQueueManager::load() {
  if (isLoaded()) return true;
  if (persistentStore_->hasPlace()) calls_->open(KIJournal::pathOfCallsIn(*persistentStore_));
  if (persistentStore_->isHeldBack()) return false;
  const auto urls = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedUrlStrings);
  const auto events = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedEvents);
  const auto batches = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedMessageBatches);
  if (urls.isUnreadable() || events.isUnreadable() || batches.isUnreadable()) return false;
  auto doneCalls = storedDoneCalls();
  auto journaled = doneCalls ? journal_.open() : std::nullopt;
  if (!journaled) return false;
  if (journal_.isOpen()) leftCalls_ = calls_->takeLeft({std::move(journaled->calls), *std::move(doneCalls)});

  const auto storedUrls = KovaPersistentStore::stringsIn(urls.value_or(Array()));
  counters_->take(kRequests, &KovaCounts::found, &KovaCounts::waiting, storedUrls.size());
  counters_->move(kRequests, &KovaCounts::waiting, &KovaCounts::refused, urls_.load(storedUrls).size());
  const auto storedBatches = KovaPersistentStore::dictionariesIn(batches.value_or(Array()));
  for (const Batch& batch : storedBatches)
    counters_->take(kEvents, &KovaCounts::found, &KovaCounts::waiting, messageCount(batch).value_or(0));
  for (const Batch& batch : batches_.load(storedBatches))
    counters_->move(kEvents, &KovaCounts::waiting, &KovaCounts::refused, messageCount(batch).value_or(0));
  auto meanwhile = std::exchange(queuedEvents_, {});
  auto textsMeanwhile = std::exchange(texts_, {});
  takeIn(mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
      KovaPersistentStore::dictionariesIn(events.value_or(Array()))));
  const bool isAnyJournaled = !journaled->messages.empty();
  takeIn(std::move(journaled->messages), std::move(journaled->texts));
  counters_->take(kEvents, &KovaCounts::found, &KovaCounts::waiting, queuedEvents_.size());
  // What the journal holds the next pass stores, unless it is long: it must be emptied some time.
  const bool canJournalWait = !journal_.isLong() && queuedEvents_.size() <= limits_.queuedEvents;
  const bool isInMemoryOnly = !meanwhile.empty() || !callsInMemory_.empty() || !unstoredCalls_.empty();
  if ((canJournalWait || !isAnyJournaled) && !isInMemoryOnly) return true;
  takeIn(std::move(meanwhile), std::move(textsMeanwhile));
  // The oldest are dropped, unless they can become a batch.
  if (queuedEvents_.size() > limits_.queuedEvents) moveEnqueuedMessagesToBatchAndPersist(false);
  makeRoomForEvents(0);
  persistQueuedEvents();
  return true;
}

void KovaQueueManager::takeIn(std::vector<MutableDictionary> messages, std::vector<std::string> texts) {
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < queuedEvents_.size(); ++i) places.emplace(idOf(queuedEvents_[i]), i);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    MutableDictionary& message = messages[i];
    auto text =
        texts.empty() ? NSJSONSerialization::dataWithJSONObject(Dictionary(message)) : std::move(texts[i]);
    if (!text) continue;
    const auto [known, isNew] = places.emplace(idOf(message), queuedEvents_.size());
    if (isNew || known->first.empty()) {
      queuedEvents_.push_back(std::move(message));
      texts_.push_back(std::move(*text));
    } else {
      queuedEvents_[known->second] = std::move(message);
      texts_[known->second] = std::move(*text);
    }
  }
}

void KovaQueueManager::makeRoomForEvents(std::size_t count) {
  if (queuedEvents_.size() + count <= limits_.queuedEvents) return;
  const auto excess = static_cast<std::ptrdiff_t>(queuedEvents_.size() + count - limits_.queuedEvents);
  queuedEvents_.erase(queuedEvents_.begin(), queuedEvents_.begin() + excess);
  texts_.erase(texts_.begin(), texts_.begin() + excess);
  droppedSinceRewrite_ += static_cast<std::size_t>(excess);
  counters_->move(kEvents, &KovaCounts::waiting, &KovaCounts::pushedOut, static_cast<std::size_t>(excess));
  if (droppedSinceRewrite_ < limits_.queuedEvents) return;
  droppedSinceRewrite_ = 0;
  calls_->writeDone();
  // While the file of the calls takes nothing, the journal alone tells which are done.
  if (calls_->untold().empty()) journal_.rewrite(texts_);
}

std::shared_ptr<KovaQueueManager> KovaQueueManager::forStore(
    std::shared_ptr<KovaPersistentStore> persistentStore, Limits limits) {
  return kova::oneAnEnvironment<KovaQueueManager>(
      persistentStore->appId(), [&] { return std::make_shared<KovaQueueManager>(persistentStore, limits); });
}

void KovaQueueManager::enqueueUrlString(std::string_view url) {
  if (!canEnqueueUrlString()) return refuseUrlString();
  counters_->take(kRequests, &KovaCounts::accepted, &KovaCounts::waiting);
  urls_.push(url);
  persistPushedUrl();
}

void KovaQueueManager::enqueueFirstPageviewUrlString(std::string_view url,
                                                     const KovaMessageBuilder& messageBuilder) {
  if (canEnqueueUrlString()) {
    counters_->take(kRequests, &KovaCounts::accepted, &KovaCounts::waiting);
    urls_.pushFirst(url);
    persistPushedUrl();
  } else {
    refuseUrlString();
  }
  if (!KovaMessageBuilder::unenrichedMessagesExistInArray(queuedEvents_)) return;
  messageBuilder.enrichMessagesWithFirstPageview(queuedEvents_);
  writeTextsAnew();
}

void KovaQueueManager::writeTextsAnew() {
  for (std::size_t i = 0; i < queuedEvents_.size(); ++i) {
    auto text = NSJSONSerialization::dataWithJSONObject(Dictionary(queuedEvents_[i]));
    if (!text || *text == texts_[i]) continue;
    texts_[i] = std::move(*text);
    journal_.keep(texts_[i]);
  }
}

std::optional<NSURL> KovaQueueManager::dequeueUrlRelativeToUrl(const NSURL& baseUrl) {
  std::optional<NSURL> url;
  if (const String* next = urls_.next()) {
    std::string text = next->str();
    if (text.find(kSendTimeParameter) == std::string::npos) {
      text += kSendTimeParameter;
      text += kova::epochString();
    }
    url = NSURL::create(text, baseUrl);
    if (url) {
      urls_.take(url->absoluteString());
    } else {
      urls_.drop();
      counters_->move(kRequests, &KovaCounts::waiting, &KovaCounts::unsendable);
    }
  }
  urls_.persistUnsaved();
  return url;
}

void KovaQueueManager::requeueFailedUrl(const NSURL& url) {
  counters_->add(kRequests, &KovaCounts::possiblyTwice);
  urls_.putBack(url.absoluteString());
  urls_.persist();
}

void KovaQueueManager::cleanUpSentUrl(const NSURL& url) {
  counters_->move(kRequests, &KovaCounts::waiting, &KovaCounts::delivered);
  urls_.settle(url.absoluteString());
}

void KovaQueueManager::enqueueMessage(MutableDictionary message, std::span<const KICallLog::Number> calls) {
  if (queuedEvents_.size() >= limits_.queuedEvents) moveEnqueuedMessagesToBatchAndPersist(false);
  if (!canEnqueueMessage()) return refuseMessage(calls);
  auto text = messageTexts_.textOf(message);
  if (!text) {
    KovaLogDebug("Failed to serialize request body data to JSON");
    counters_->take(kEvents, &KovaCounts::accepted, &KovaCounts::unsendable);
    return noteRefused(calls);
  }
  counters_->take(kEvents, &KovaCounts::accepted, &KovaCounts::waiting);
  makeRoomForEvents(1);
  if (journal_.keep(*text, calls)) {
    calls_->noteJournaled(calls);
  } else {
    counters_->add(kEvents, &KovaCounts::inMemory);
    callsInMemory_.insert(callsInMemory_.end(), calls.begin(), calls.end());
  }
  queuedEvents_.push_back(std::move(message));
  texts_.push_back(std::move(*text));
  watchForAPageview();
}

bool KovaQueueManager::moveEnqueuedMessagesToBatchAndPersist(bool persistWhenNothingWasBatched) {
  if (queuedEvents_.empty() || KovaMessageBuilder::unenrichedMessagesExistInArray(queuedEvents_)) {
    return persistWhenNothingWasBatched && persistQueuedEvents();
  }
  const auto fileName = persistentStore_->saveJSONDataToDisk(arrayOf(texts_));
  if (!fileName && !hasRoomForInlineBatch()) return persistWhenNothingWasBatched && persistQueuedEvents();
  if (fileName) {
    messageCounts_[*fileName] = queuedEvents_.size();
    batches_.push({{kMessagesIdentifierKey, *fileName}});
  } else {
    batches_.push({{kMessagesKey, arrayOf(queuedEvents_)}});
  }
  queuedEvents_.clear();
  texts_.clear();
  const bool isStored = persistQueuedEvents();
  // A file that has no row yet is found by the next start: the journal would bring its messages a second
  // time.
  if (!isStored && fileName && !persistentStore_->isInStep()) {
    calls_->noteJournaled(std::exchange(callsInMemory_, {}));
    calls_->writeDone();
    journal_.rewrite({});
  }
  return isStored;
}

Reading<std::string> KovaQueueManager::messageArrayDataForMessageBatch(const Batch& batch) const {
  const Value* messages = batch.find(kMessagesKey);
  if (messages && messages->isArray() && !messages->array().empty()) {
    return NSJSONSerialization::dataWithJSONObject(*messages);
  }
  const Value* fileName = stringIn(batch, kMessagesIdentifierKey);
  if (!fileName) return std::nullopt;
  auto data = persistentStore_->readJSONObjectDataFromDisk(fileName->text());
  // A power failure may leave a file without its contents, or a part of them.
  if (data && !(data->starts_with('[') && data->ends_with(']'))) return std::nullopt;
  return data;
}

Reading<std::string> KovaQueueManager::payloadFromMessageBatch(const Batch& batch) const {
  auto messages = messageArrayDataForMessageBatch(batch);
  if (!messages) return messages;
  std::string body = formatted("{\"sentTime\": \"%@\", \"messages\": ", kova::epochString());
  body.reserve(body.size() + messages->size() + 1);
  body += *messages;
  body += '}';
  return body;
}

std::optional<KovaQueueManager::Dequeued> KovaQueueManager::dequeueMessageJSONPayloadWithMessageBatch() {
  std::optional<Dequeued> dequeued;
  while (const Batch* next = dequeued ? nullptr : batches_.next()) {
    auto body = payloadFromMessageBatch(*next);
    if (body.isUnreadable()) break;
    if (body) {
      countFound(*next, *body);
      dequeued = Dequeued{std::move(*body), batches_.take()};
    } else {
      KovaLogDebug("Failed to serialize request body data to JSON");
      countUnreadable(*next);
      batches_.drop();
    }
  }
  batches_.persistUnsaved();
  return dequeued;
}

void KovaQueueManager::requeueFailedMessageBatch(const Batch& batch) {
  counters_->add(kEvents, &KovaCounts::possiblyTwice, messageCount(batch).value_or(0));
  batches_.putBack(batch);
  batches_.persist();
}

void KovaQueueManager::cleanUpSentMessageBatch(const Batch& batch) {
  batches_.settle(batch);
  counters_->move(kEvents, &KovaCounts::waiting, &KovaCounts::delivered, messageCount(batch).value_or(0));
  if (const Value* fileName = stringIn(batch, kMessagesIdentifierKey)) {
    messageCounts_.erase(fileName->string().str());
    persistentStore_->removeJSONObjectDataFromDisk(fileName->text());
  }
}

KovaPersistentStore::Names KovaQueueManager::batchFileNames() const {
  KovaPersistentStore::Names names;
  batches_.forEach([&names](const Batch& batch) {
    if (const Value* fileName = stringIn(batch, kMessagesIdentifierKey)) names.emplace(fileName->text());
  });
  return names;
}

void KovaQueueManager::adoptLeftovers() {
  if (!isLoaded()) return;  // nobody knows which files have no row
  KovaPersistentStore::Names waiting;
  for (const MutableDictionary& message : queuedEvents_) {
    if (auto id = idOf(message); !id.empty()) waiting.insert(std::move(id));
  }

  std::size_t count = 0;
  KovaPersistentStore::Names batched;
  for (KovaPersistentStore::Leftover& leftover :
       persistentStore_->sweepLeftovers(batchFileNames(), waiting)) {
    if (!canEnqueueMessage() && !leftover.hasOthers) {  // later messages do not overtake them
      persistentStore_->removeJSONObjectDataFromDisk(leftover.fileName);
      continue;
    }
    batched.merge(leftover.messageIds);  // sent with their file, if need be by a later start
    if (!canEnqueueMessage()) continue;
    batches_.push({{kMessagesIdentifierKey, leftover.fileName}});
    ++count;
  }
  if (count == 0 && batched.empty()) return;
  if (count > 0) KovaLogDebug("Took up %ld message batches that were left behind", static_cast<long>(count));
  auto waitingMessages = std::exchange(queuedEvents_, {});
  texts_.clear();
  const auto erased = std::erase_if(waitingMessages, [&batched](const MutableDictionary& message) {
    return batched.contains(idOf(message));
  });
  counters_->giveBack(kEvents, &KovaCounts::found, &KovaCounts::waiting, erased);  // counted with their file
  takeIn(std::move(waitingMessages));
  persistQueuedEvents();
}

bool KovaQueueManager::persistQueuedEvents() {
  if (!isLoaded()) return false;
  calls_->writeDone();
  // A step that changes nothing says nothing of those before.
  const bool isStored = persistentStore_->changeInOneStep([this] {
    kova::mutationQueue.isHere();
    urls_.persistUnsaved();
    batches_.persistUnsaved();
    journal_.noteTakenOver();
    if (!callsInMemory_.empty() || !unstoredCalls_.empty() || !calls_->untold().empty())
      storeDoneCalls(callsInMemory_);
    if (queuedEvents_.empty() && areEventsStoredEmpty_) return;
    persistentStore_->setObject(arrayOf(queuedEvents_), KovaPersistentPropertyKeyQueuedEvents);
  }) && persistentStore_->isAllStored();
  areEventsStoredEmpty_ = isStored && queuedEvents_.empty();
  if (!isStored) return false;
  urls_.noteSaved();
  batches_.noteSaved();
  calls_->noteJournaled(std::exchange(callsInMemory_, {}));
  calls_->writeDone();
  settleCalls();
  journal_.forgetTakenOver();
  droppedSinceRewrite_ = 0;
  return true;
}

std::vector<MutableDictionary> KovaQueueManager::mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
    const std::vector<Dictionary>& dictionaries) {
  std::vector<MutableDictionary> copies;
  copies.reserve(dictionaries.size());
  for (const Dictionary& dictionary : dictionaries) copies.emplace_back(dictionary);
  return copies;
}
