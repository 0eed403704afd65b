// Counts what is stored, what was refused, and what became of the messages of batches. How many messages a
// batch of an earlier process holds is known when it is read.

#include <Kova/KovaConstants.h>

#include <utility>

#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr KICounters::Kind kEvents = &KovaStatus::events;
constexpr KICounters::Kind kRequests = &KovaStatus::requests;
constexpr std::string_view kMessagesKey = "messages";
constexpr std::string_view kMessagesIdentifierKey = "messagesIdentifier";
// Stored messages and batches may exceed their limits by this much before a store counts as excessive; URLs
// may not.
constexpr std::size_t kSlack = 10;
// Without a place for files the batches lie in memory, and in one row that is written whole: a few, not 200.
constexpr std::size_t kMostInlineBatches = 20;

// The objects in the array of a body.
std::size_t messagesIn(std::string_view payload) {
  std::size_t count = 0;
  int depth = 0;
  bool isInString = false;
  for (std::size_t i = 0; i < payload.size(); ++i) {
    const char c = payload[i];
    if (isInString && c == '\\') {
      ++i;  // whatever it is, it ends no string
      continue;
    }
    if (c == '"') isInString = !isInString;
    if (isInString) continue;
    if (c == '{' && ++depth == 2) ++count;
    if (c == '}') --depth;
  }
  return count;
}

const Array* inlineMessages(const KovaQueueManager::Batch& batch) {
  const Value* messages = batch.find(kMessagesKey);
  return messages && messages->isArray() ? &messages->array() : nullptr;
}

std::string_view fileNameOf(const KovaQueueManager::Batch& batch) {
  const Value* fileName = batch.find(kMessagesIdentifierKey);
  return fileName ? fileName->text() : std::string_view();
}

}  // namespace

bool KovaQueueManager::persistentStoreHasExcessiveQueuedData(const KovaPersistentStore& store,
                                                             Limits limits) {
  const auto storedCount = [&store](std::string_view key) KOVA_ON_MUTATION_QUEUE {
    return store.arrayForKey(key).value_or(Array()).size();
  };
  return storedCount(KovaPersistentPropertyKeyQueuedUrlStrings) >= limits.queuedUrls ||
         storedCount(KovaPersistentPropertyKeyQueuedEvents) >= limits.queuedEvents + kSlack ||
         storedCount(KovaPersistentPropertyKeyQueuedMessageBatches) >= limits.queuedMessageBatches + kSlack;
}

std::optional<std::size_t> KovaQueueManager::messageCount(const Batch& batch) const {
  if (const Array* messages = inlineMessages(batch)) return messages->size();
  const auto known = messageCounts_.find(fileNameOf(batch));
  return known == messageCounts_.end() ? std::nullopt : std::optional(known->second);
}

void KovaQueueManager::refuseUrlString() {
  counters_->take(kRequests, &KovaCounts::accepted, &KovaCounts::refused);
}

void KovaQueueManager::refuseMessage(std::span<const KICallLog::Number> calls) {
  refuseMessage();
  noteRefused(calls);
}

// At once: the next start must not count them once more.
void KovaQueueManager::noteRefused(std::span<const KICallLog::Number> calls) {
  for (const KICallLog::Number call : calls) calls_->noteDone(call);
}

void KovaQueueManager::countFound(const Batch& batch, std::string_view payload) {
  if (messageCount(batch)) return;
  const std::size_t count = messagesIn(payload);
  messageCounts_.emplace(fileNameOf(batch), count);
  counters_->take(kEvents, &KovaCounts::found, &KovaCounts::waiting, count);
}

void KovaQueueManager::countUnreadable(const Batch& batch) {
  if (const auto count = messageCount(batch))
    return counters_->move(kEvents, &KovaCounts::waiting, &KovaCounts::unreadable, *count);
  counters_->take(kEvents, &KovaCounts::found, &KovaCounts::unreadable);
}

bool KovaQueueManager::hasRoomForInlineBatch() const {
  std::size_t count = 0;
  batches_.forEach([&count](const Batch& batch) { count += inlineMessages(batch) != nullptr; });
  return count < kMostInlineBatches;
}
