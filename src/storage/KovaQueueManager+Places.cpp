// What a process has left that ran beside the first one, and was the only one of its app for some other
// place.

#include <Kova/KovaConstants.h>

#include <algorithm>

#include "src/core/KovaLogger.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

struct Row {
  std::string_view key;
  std::size_t limit;
  std::size_t own;  // that wait already
  std::vector<Value> taken = {};
  std::vector<Value> rest = {};
  bool isShorter = false;  // the rest than what was there
};

std::string_view fileNameIn(const Value& batch) {
  const Value* name = batch.isDictionary() ? batch.dictionary().find("messagesIdentifier") : nullptr;
  return name ? name->text() : std::string_view();
}

// Less the batches whose files are named. False when it cannot be told for the moment.
bool split(Row& row, const KovaPersistentStore& left,
           const KovaPersistentStore::Names& known = {}) KOVA_ON_MUTATION_QUEUE {
  const auto others = left.arrayForKey(row.key);
  if (others.isUnreadable()) return false;
  const std::size_t mostInAll = row.limit / 2;
  const std::size_t room = mostInAll - std::min(mostInAll, row.own);
  for (const Value& other : others.value_or(Array())) {
    if (!known.contains(fileNameIn(other))) (row.taken.size() < room ? row.taken : row.rest).push_back(other);
  }
  row.isShorter = others && row.rest.size() < others->size();
  return true;
}

template <class Batches>
KovaPersistentStore::Names fileNamesIn(const Batches& batches) {
  KovaPersistentStore::Names names;
  for (const Value& batch : batches) {
    if (const auto name = fileNameIn(batch); !name.empty()) names.emplace(name);
  }
  return names;
}

}  // namespace

bool KovaQueueManager::isAnythingQueuedIn(const KovaPersistentStore& store) {
  const auto keys = {KovaPersistentPropertyKeyQueuedUrlStrings, KovaPersistentPropertyKeyQueuedEvents,
                     KovaPersistentPropertyKeyQueuedMessageBatches};
  return std::any_of(keys.begin(), keys.end(), [&store](std::string_view key) KOVA_ON_MUTATION_QUEUE {
    return !store.arrayForKey(key).value_or(Array()).empty();
  });
}

bool KovaQueueManager::areFilesLeftBehindIn(const KovaPersistentStore& store) {
  const auto batches = store.arrayForKey(KovaPersistentPropertyKeyQueuedMessageBatches);
  if (batches.isUnreadable()) return false;
  return !store.sweepLeftovers(fileNamesIn(batches.value_or(Array())), {}).empty();
}

// Files first: should the process end in between, the next start finds the rows where they were, and takes
// them over with the files that have been moved already.
bool KovaQueueManager::takeQueuesOf(KovaPersistentStore& left) {
  Row urls{KovaPersistentPropertyKeyQueuedUrlStrings, limits_.queuedUrls, urls_.size()};
  Row events{KovaPersistentPropertyKeyQueuedEvents, limits_.queuedEvents, queuedEvents_.size()};
  Row batches{KovaPersistentPropertyKeyQueuedMessageBatches, limits_.queuedMessageBatches, batches_.size()};
  const auto rows = {&urls, &events, &batches};
  // A process that ended while it took over may have brought a file here, or to a place between, whose batch
  // was found by then, and has its row twice.
  if (!split(urls, left) || !split(events, left) || !split(batches, left, batchFileNames())) return false;
  const bool isEmptied =
      std::all_of(rows.begin(), rows.end(), [](const Row* row) { return row->rest.empty(); });
  if (std::none_of(rows.begin(), rows.end(), [](const Row* row) { return row->isShorter; })) return isEmptied;
  std::vector<std::string> files;
  for (const Value& batch : batches.taken) files.emplace_back(fileNameIn(batch));
  if (!persistentStore_->takeFilesOf(left, files, fileNamesIn(batches.rest))) return false;
  const bool isStored = persistentStore_->changeInOneStep([&] {
    kova::mutationQueue.isHere();
    for (const Row* row : rows) {
      if (row->isShorter) left.setObject(Array(row->rest), row->key);
    }
    append(urls.taken, batches.taken, events.taken);
    persistQueuedEvents();
  });
  if (!isStored) return false;
  persistQueuedEvents();
  KovaLogDebug("Took up %lu requests, %lu batches and %lu messages of a process that has ended.",
               urls.taken.size(), batches.taken.size(), events.taken.size());
  return isEmptied;
}

// The journal last: a power failure may take what the store says of its messages.
void KovaQueueManager::takeOver(const std::shared_ptr<KovaPersistentStore>& left) {
  if (isLoaded()) takenOver_.push_back({left, takeQueuesOf(*left)});
}

void KovaQueueManager::leavePlacesTakenOver(std::size_t count) {
  for (; placesLeft_ < count && !takenOver_.empty(); ++placesLeft_) {
    const TakenOver& place = takenOver_.front();
    place.isEmpty ? void(place.left->erase()) : KIJournal::clearFor(*place.left);
    takenOver_.pop_front();
  }
}

void KovaQueueManager::append(const std::vector<Value>& urls, const std::vector<Value>& batches,
                              const std::vector<Value>& events) {
  for (const String& url : KovaPersistentStore::stringsIn(Array(urls))) {
    counters_->take(&KovaStatus::requests, &KovaCounts::found, &KovaCounts::waiting);
    urls_.push(url);
  }
  for (const Batch& batch : KovaPersistentStore::dictionariesIn(Array(batches))) {
    counters_->take(&KovaStatus::events, &KovaCounts::found, &KovaCounts::waiting,
                    messageCount(batch).value_or(0));
    batches_.push(batch);
  }
  const std::size_t before = queuedEvents_.size();
  takeIn(mutableArrayOfMutableDictionariesFromArrayOfDictionaries(
      KovaPersistentStore::dictionariesIn(Array(events))));
  counters_->take(&KovaStatus::events, &KovaCounts::found, &KovaCounts::waiting,
                  queuedEvents_.size() - before);
}
