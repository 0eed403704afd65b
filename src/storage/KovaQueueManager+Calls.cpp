// Calls that make no message: what they have changed, and that they are done, goes to the store together. The
// file of the calls is told afterwards; a start that finds it untold asks the store.

#include <Kova/KovaConstants.h>

#include <algorithm>

#include "platform/runtime/ScopedFlag.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr std::string_view kDoneCallsKey = "doneCalls";
// While nothing can be stored the row grows with each call; of the older ones no more than as many requests
// as can wait.
constexpr std::size_t kMostDoneCalls = 200;

}  // namespace

void KovaQueueManager::carryOut(std::span<const KICallLog::Number> calls,
                                const std::function<void()>& change) {
  if (std::all_of(calls.begin(), calls.end(),
                  [](KICallLog::Number call) { return call == KICallLog::kNotNoted; })) {
    return change();
  }
  const bool isStored = persistentStore_->changeInOneStep([&] {
    kova::mutationQueue.isHere();
    {
      const ScopedFlag carryingOut(isCarryingOut_);
      change();
    }
    urls_.persistUnsaved();
    storeDoneCalls(calls);
  });
  if (isStored) urls_.noteSaved();
  unstoredCalls_.insert(unstoredCalls_.end(), calls.begin(), calls.end());
  settleCalls();
}

// Batch files and the database first, and then what may let go of their contents.
void KovaQueueManager::synchronizeFiles() {
  std::vector<std::string> paths = persistentStore_->pathsOfFiles();
  for (std::string& path : KIJournal::pathsFor(*persistentStore_)) paths.push_back(std::move(path));
  disk_->synchronize(std::move(paths), [self = shared_from_this(), number = journal_.number()] {
    kova::mutationQueue.isHere();
    self->journal_.noteOnDisk(number);
  });
}

void KovaQueueManager::persistPushedUrl() {
  if (!isCarryingOut_) urls_.persist();
}

void KovaQueueManager::settleCalls() {
  if (unstoredCalls_.empty() || !persistentStore_->isAllStored()) return;
  for (const KICallLog::Number call : unstoredCalls_) calls_.noteDone(call);
  unstoredCalls_.clear();
}

void KovaQueueManager::storeDoneCalls(std::span<const KICallLog::Number> others) {
  std::vector<Value> numbers;
  for (const auto& calls : {std::span<const KICallLog::Number>(unstoredCalls_), others}) {
    for (const KICallLog::Number call : calls.last(std::min(calls.size(), kMostDoneCalls)))
      numbers.emplace_back(static_cast<std::int64_t>(call));
  }
  persistentStore_->setObject(Array(std::move(numbers)), kDoneCallsKey);
}

KICallLog::Numbers KovaQueueManager::storedDoneCalls() const {
  KICallLog::Numbers numbers;
  const auto stored = persistentStore_->arrayForKey(kDoneCallsKey);
  for (const Value& number : stored ? *stored : Array()) {
    if (number.isInteger()) numbers.insert(static_cast<KICallLog::Number>(number.integer()));
  }
  return numbers;
}

void KovaQueueManager::removeDoneCalls(KovaPersistentStore& store) {
  store.removeObjectForKey(kDoneCallsKey);
}
