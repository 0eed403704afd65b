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
  std::vector<Value> merged = {};  // what is stored, and as many of those left as there is room for
  std::vector<Value> rest = {};
  std::size_t taken = 0;
};

// False when it cannot be told for the moment.
bool read(Row& row, const KovaPersistentStore& store,
          const KovaPersistentStore& left) KOVA_ON_MUTATION_QUEUE {
  const auto own = store.arrayForKey(row.key);
  const auto others = left.arrayForKey(row.key);
  if (own.isUnreadable() || others.isUnreadable()) return false;
  if (own) row.merged.assign(own->begin(), own->end());
  if (!others) return true;
  const std::size_t room = row.limit - std::min(row.limit, row.merged.size());
  row.taken = std::min(room, others->size());
  const auto end = others->begin() + static_cast<std::ptrdiff_t>(row.taken);
  row.merged.insert(row.merged.end(), others->begin(), end);
  row.rest.assign(end, others->end());
  return true;
}

KovaPersistentStore::Names fileNamesIn(const std::vector<Value>& batches) {
  KovaPersistentStore::Names names;
  for (const Value& batch : batches) {
    const Value* name = batch.isDictionary() ? batch.dictionary().find("messagesIdentifier") : nullptr;
    if (name) names.emplace(name->text());
  }
  return names;
}

}  // namespace

bool KovaQueueManager::isAnythingLeftIn(const KovaPersistentStore& store) {
  if (KIJournal::existsFor(store)) return true;
  for (const auto key : {KovaPersistentPropertyKeyQueuedUrlStrings, KovaPersistentPropertyKeyQueuedEvents,
                         KovaPersistentPropertyKeyQueuedMessageBatches}) {
    if (!store.arrayForKey(key).value_or(Array()).empty()) return true;
  }
  return false;
}

// Files first: should the process end in between, the next start finds the rows where they were, and takes
// them over with the files that have been moved already.
void KovaQueueManager::takeOver(KovaPersistentStore& store, KovaPersistentStore& left, Limits limits) {
  Row urls{KovaPersistentPropertyKeyQueuedUrlStrings, limits.queuedUrls};
  Row events{KovaPersistentPropertyKeyQueuedEvents, limits.queuedEvents};
  Row batches{KovaPersistentPropertyKeyQueuedMessageBatches, limits.queuedMessageBatches};
  const auto rows = {&urls, &events, &batches};
  for (Row* row : rows) {
    if (!read(*row, store, left)) return;
  }
  if (!store.takeFilesOf(left, fileNamesIn(batches.rest))) return;
  const bool isStored = store.changeInOneStep([&] {
    kova::mutationQueue.isHere();
    for (const Row* row : rows) {
      if (row->taken == 0) continue;
      store.setObject(Array(row->merged), row->key);
      left.setObject(Array(row->rest), row->key);
    }
  });
  if (!isStored) return;
  KovaLogDebug("Took up %lu requests, %lu batches and %lu messages of a process that has ended.", urls.taken,
               batches.taken, events.taken);
  if (std::all_of(rows.begin(), rows.end(), [](const Row* row) { return row->rest.empty(); })) left.erase();
}
