#include "src/storage/KovaQueueManager.h"

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaUtil.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

namespace {

constexpr std::string_view kMessagesKey = "messages";
constexpr std::string_view kMessagesIdentifierKey = "messagesIdentifier";
constexpr std::string_view kIdKey = "id";  // of a message
constexpr std::string_view kSendTimeParameter = "&st=";
// Stored messages and batches may exceed their limits by this much before a store counts as excessive; URLs
// may not.
constexpr std::size_t kSlack = 10;

// What is in flight, then what is queued.
template <class InFlight, class Queued>
Array arrayOf(const InFlight& inFlight, const Queued& queued) {
  std::vector<Value> items(inFlight.begin(), inFlight.end());
  items.insert(items.end(), queued.begin(), queued.end());
  return Array(std::move(items));
}

// Removes the first item that equals the given one.
template <class Item>
void removeFirst(std::vector<Item>& items, const Item& item) {
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&item](const Item& other) { return Value(other) == Value(item); });
  if (found != items.end()) items.erase(found);
}

template <class Entries>
const Value* stringIn(const Entries& entries, std::string_view key) {
  const Value* value = entries.find(key);
  return value && value->isString() ? value : nullptr;
}

}  // namespace

KovaQueueManager::KovaQueueManager(std::shared_ptr<KovaPersistentStore> persistentStore, Limits limits)
    : persistentStore_(std::move(persistentStore)), limits_(limits) {
  load();
}

bool KovaQueueManager::load() {
  if (isLoaded_) return true;
  const auto urls = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedUrlStrings);
  const auto events = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedEvents);
  const auto batches = persistentStore_->arrayForKey(KovaPersistentPropertyKeyQueuedMessageBatches);
  if (urls.isUnreadable() || events.isUnreadable() || batches.isUnreadable()) return false;
  isLoaded_ = true;
  const bool isToBeStored = !queuedUrlStrings_.empty() || !queuedEvents_.empty() ||
                            !queuedMessageBatches_.empty() || !urlStringsInFlight_.empty() ||
                            !messageBatchesInFlight_.empty();

  const auto storedUrls = KovaPersistentStore::stringsIn(urls.value_or(Array()));
  const auto storedBatches = KovaPersistentStore::dictionariesIn(batches.value_or(Array()));
  auto messages = mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
      KovaPersistentStore::dictionariesIn(events.value_or(Array())));
  queuedUrlStrings_.insert(queuedUrlStrings_.begin(), storedUrls.begin(), storedUrls.end());
  queuedMessageBatches_.insert(queuedMessageBatches_.begin(), storedBatches.begin(), storedBatches.end());
  messages.insert(messages.end(), std::make_move_iterator(queuedEvents_.begin()),
                  std::make_move_iterator(queuedEvents_.end()));
  queuedEvents_ = std::move(messages);
  if (!isToBeStored) return true;

  // As if each had been queued now: of URLs and batches the newest are dropped, of messages the oldest,
  // unless they can become a batch.
  queuedUrlStrings_.resize(
      std::min(queuedUrlStrings_.size(), std::max(limits_.queuedUrls, storedUrls.size())));
  queuedMessageBatches_.resize(
      std::min(queuedMessageBatches_.size(), std::max(limits_.queuedMessageBatches, storedBatches.size())));
  if (queuedEvents_.size() > limits_.queuedEvents) moveEnqueuedMessagesToBatchAndPersist(false);
  if (queuedEvents_.size() > limits_.queuedEvents)
    queuedEvents_.erase(queuedEvents_.begin(),
                        queuedEvents_.end() - static_cast<std::ptrdiff_t>(limits_.queuedEvents));
  persistQueuedUrlStrings();
  persistQueuedMessageBatches();
  persistQueuedEvents();
  return true;
}

std::shared_ptr<KovaQueueManager> KovaQueueManager::forStore(
    std::shared_ptr<KovaPersistentStore> persistentStore, Limits limits) {
  static auto& managers = *new kova::OneAnEnvironment<KovaQueueManager>;
  return managers.findOrMake(persistentStore->appId(),
                             [&] { return std::make_shared<KovaQueueManager>(persistentStore, limits); });
}

void KovaQueueManager::enqueueUrlString(std::string_view url) {
  if (!canEnqueueUrlString()) return;
  queuedUrlStrings_.emplace_back(url);
  persistQueuedUrlStrings();
}

void KovaQueueManager::enqueueFirstPageviewUrlString(std::string_view url,
                                                     const KovaMessageBuilder& messageBuilder) {
  if (canEnqueueUrlString()) {
    queuedUrlStrings_.emplace_front(url);
    persistQueuedUrlStrings();
  }
  messageBuilder.enrichMessagesWithFirstPageview(queuedEvents_);
}

std::optional<NSURL> KovaQueueManager::dequeueUrlRelativeToUrl(const NSURL& baseUrl) {
  if (queuedUrlStrings_.empty()) {
    if (areUrlStringsUnsaved_) persistQueuedUrlStrings();
    return std::nullopt;
  }
  std::string text = queuedUrlStrings_.front().str();
  if (text.find(kSendTimeParameter) == std::string::npos) {
    text += kSendTimeParameter;
    text += KovaUtil::epochString();
  }
  auto url = NSURL::create(text, baseUrl);
  queuedUrlStrings_.pop_front();
  if (url) urlStringsInFlight_.emplace_back(url->absoluteString());
  persistQueuedUrlStrings();
  return url;
}

void KovaQueueManager::requeueFailedUrl(const NSURL& url) {
  removeFirst(urlStringsInFlight_, String(url.absoluteString()));
  queuedUrlStrings_.emplace_front(url.absoluteString());
  persistQueuedUrlStrings();
}

void KovaQueueManager::cleanUpSentUrl(const NSURL& url) {
  removeFirst(urlStringsInFlight_, String(url.absoluteString()));
  areUrlStringsUnsaved_ = true;
}

void KovaQueueManager::enqueueMessage(MutableDictionary message) {
  if (queuedEvents_.size() >= limits_.queuedEvents) moveEnqueuedMessagesToBatchAndPersist(false);
  if (!canEnqueueMessage()) return;
  if (!NSJSONSerialization::isValidJSONObject(message)) {
    KovaLogDebug("Failed to serialize request body data to JSON");
    return;
  }
  while (queuedEvents_.size() >= limits_.queuedEvents) queuedEvents_.erase(queuedEvents_.begin());
  queuedEvents_.push_back(std::move(message));
  watchForAPageview();
}

void KovaQueueManager::moveEnqueuedMessagesToBatchAndPersist(bool persistWhenNothingWasBatched) {
  if (queuedEvents_.empty() || KovaMessageBuilder::unenrichedMessagesExistInArray(queuedEvents_)) {
    if (persistWhenNothingWasBatched) persistQueuedEvents();
    return;
  }
  std::vector<Value> messages;
  messages.reserve(queuedEvents_.size());
  for (MutableDictionary& message : queuedEvents_) messages.emplace_back(Dictionary(std::move(message)));
  queuedEvents_.clear();
  const Array messageArray(std::move(messages));

  if (auto fileName = persistentStore_->saveJSONObjectToDisk(messageArray)) {
    queuedMessageBatches_.push_back(Dictionary{{kMessagesIdentifierKey, *fileName}});
  } else {
    queuedMessageBatches_.push_back(Dictionary{{kMessagesKey, messageArray}});
  }
  areBatchesUnsaved_ = true;
  persistQueuedEvents();
}

Reading<std::string> KovaQueueManager::messageArrayDataForMessageBatch(const Batch& batch) const {
  const Value* messages = batch.find(kMessagesKey);
  if (messages && messages->isArray() && !messages->array().empty()) {
    return NSJSONSerialization::dataWithJSONObject(*messages);
  }
  const Value* fileName = stringIn(batch, kMessagesIdentifierKey);
  if (!fileName) return std::nullopt;
  return persistentStore_->readJSONObjectDataFromDisk(fileName->text());
}

Reading<std::string> KovaQueueManager::payloadFromMessageBatch(const Batch& batch) const {
  auto messages = messageArrayDataForMessageBatch(batch);
  if (!messages) return messages;
  std::string body = formatted("{\"sentTime\": \"%@\", \"messages\": ", KovaUtil::epochString());
  body.reserve(body.size() + messages->size() + 1);
  body += *messages;
  body += '}';
  return body;
}

std::optional<KovaQueueManager::Dequeued> KovaQueueManager::dequeueMessageJSONPayloadWithMessageBatch() {
  std::optional<Dequeued> dequeued;
  while (!dequeued && !queuedMessageBatches_.empty()) {
    auto body = payloadFromMessageBatch(queuedMessageBatches_.front());
    if (body.isUnreadable()) break;
    Batch batch = std::move(queuedMessageBatches_.front());
    queuedMessageBatches_.pop_front();
    if (body) {
      messageBatchesInFlight_.push_back(batch);
      dequeued = Dequeued{std::move(*body), std::move(batch)};
    } else {
      KovaLogDebug("Failed to serialize request body data to JSON");
      areBatchesUnsaved_ = true;
    }
  }
  if (areBatchesUnsaved_) persistQueuedMessageBatches();
  return dequeued;
}

void KovaQueueManager::requeueFailedMessageBatch(Batch batch) {
  removeFirst(messageBatchesInFlight_, batch);
  queuedMessageBatches_.push_front(std::move(batch));
  persistQueuedMessageBatches();
}

void KovaQueueManager::cleanUpSentMessageBatch(const Batch& batch) {
  removeFirst(messageBatchesInFlight_, batch);
  areBatchesUnsaved_ = true;
  if (const Value* fileName = stringIn(batch, kMessagesIdentifierKey)) {
    persistentStore_->removeJSONObjectDataFromDisk(fileName->text());
  }
}

KovaPersistentStore::Names KovaQueueManager::batchFileNames() const {
  KovaPersistentStore::Names names;
  const auto noteName = [&names](const Batch& batch) {
    if (const Value* fileName = stringIn(batch, kMessagesIdentifierKey)) names.emplace(fileName->text());
  };
  std::for_each(queuedMessageBatches_.begin(), queuedMessageBatches_.end(), noteName);
  std::for_each(messageBatchesInFlight_.begin(), messageBatchesInFlight_.end(), noteName);
  return names;
}

void KovaQueueManager::adoptLeftovers() {
  if (!isLoaded_) return;  // nobody knows which files have no row
  KovaPersistentStore::Names waiting;
  for (const MutableDictionary& message : queuedEvents_) {
    if (const Value* id = stringIn(message, kIdKey)) waiting.emplace(id->text());
  }

  std::size_t count = 0;
  KovaPersistentStore::Names batched;
  for (KovaPersistentStore::Leftover& leftover :
       persistentStore_->sweepLeftovers(batchFileNames(), waiting)) {
    batched.merge(leftover.messageIds);  // sent with their file, be it by a later start
    if (!canEnqueueMessage()) continue;
    queuedMessageBatches_.push_back(Dictionary{{kMessagesIdentifierKey, leftover.fileName}});
    ++count;
  }
  if (count > 0) {
    KovaLogDebug("Took up %ld message batches that were left behind", static_cast<long>(count));
    areBatchesUnsaved_ = true;
  }
  std::erase_if(queuedEvents_, [&batched](const MutableDictionary& message) {
    const Value* id = stringIn(message, kIdKey);
    return id && batched.contains(id->text());
  });
  if (count > 0 || !batched.empty()) persistQueuedEvents();
}

void KovaQueueManager::persistQueuedEvents() {
  if (!isLoaded_) return;
  const bool isStored = persistentStore_->changeInOneStep([this] {
    if (areUrlStringsUnsaved_) persistQueuedUrlStrings();
    if (areBatchesUnsaved_) persistQueuedMessageBatches();
    if (queuedEvents_.empty() && areEventsStoredEmpty_) return;
    std::vector<Value> messages;
    messages.reserve(queuedEvents_.size());
    for (const MutableDictionary& message : queuedEvents_) messages.emplace_back(Dictionary(message));
    persistentStore_->setObject(Array(std::move(messages)), KovaPersistentPropertyKeyQueuedEvents);
  });
  areEventsStoredEmpty_ = isStored && queuedEvents_.empty();
  if (isStored) areUrlStringsUnsaved_ = areBatchesUnsaved_ = false;
}

void KovaQueueManager::persistQueuedUrlStrings() {
  if (!isLoaded_) return;
  areUrlStringsUnsaved_ = !persistentStore_->setObject(arrayOf(urlStringsInFlight_, queuedUrlStrings_),
                                                       KovaPersistentPropertyKeyQueuedUrlStrings);
}

void KovaQueueManager::persistQueuedMessageBatches() {
  if (!isLoaded_) return;
  areBatchesUnsaved_ = !persistentStore_->setObject(arrayOf(messageBatchesInFlight_, queuedMessageBatches_),
                                                    KovaPersistentPropertyKeyQueuedMessageBatches);
}

bool KovaQueueManager::persistentStoreHasExcessiveQueuedData(const KovaPersistentStore& store,
                                                             Limits limits) {
  const auto storedCount = [&store](std::string_view key) {
    return store.arrayForKey(key).value_or(Array()).size();
  };
  return storedCount(KovaPersistentPropertyKeyQueuedUrlStrings) >= limits.queuedUrls ||
         storedCount(KovaPersistentPropertyKeyQueuedEvents) >= limits.queuedEvents + kSlack ||
         storedCount(KovaPersistentPropertyKeyQueuedMessageBatches) >= limits.queuedMessageBatches + kSlack;
}

void KovaQueueManager::removeFromPersistentStore(KovaPersistentStore& store) {
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedUrlStrings);
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedEvents);
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedMessageBatches);
}

std::vector<MutableDictionary> KovaQueueManager::mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
    const std::vector<Dictionary>& dictionaries) {
  std::vector<MutableDictionary> copies;
  copies.reserve(dictionaries.size());
  for (const Dictionary& dictionary : dictionaries) copies.emplace_back(dictionary);
  return copies;
}
