// Calls that make no message: what they have changed, and that they are done, goes to the store together. The
// file of the calls is told afterwards; a start that finds it untold asks the store.

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <iterator>
#include <numeric>

#include "platform/runtime/ScopedFlag.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr std::string_view kDoneCallsKey = "doneCalls";
// While nothing can be stored the row grows; of the older ones no more than as many requests as can wait.
constexpr std::size_t kMostDoneCalls = 200;
constexpr std::int64_t kMostInARow = 1 << 20;  // more than the file of the calls takes

}  // namespace

void KovaQueueManager::carryOut(std::span<const KICallLog::Number> calls,
                                const std::function<void()>& change) {
  if (std::all_of(calls.begin(), calls.end(),
                  [](KICallLog::Number call) { return call == KICallLog::kNotNoted; })) {
    return change();
  }
  if (!isLoaded()) {
    change();
    unstoredCalls_.insert(unstoredCalls_.end(), calls.begin(), calls.end());
    return;
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
  for (const TakenOver& place : takenOver_) {
    if (const auto& url = place.left->cacheUrl()) paths.insert(paths.begin(), url->path());
  }
  for (std::string& path : KIJournal::pathsFor(*persistentStore_)) paths.push_back(std::move(path));
  disk_->synchronize(std::move(paths), [self = shared_from_this(), number = journal_.number(),
                                        places = placesLeft_ + takenOver_.size()] {
    kova::mutationQueue.isHere();
    self->leavePlacesTakenOver(places);
    self->journal_.noteOnDisk(number);
  });
}

void KovaQueueManager::persistPushedUrl() {
  if (!isCarryingOut_) urls_.persist();
}

void KovaQueueManager::settleCalls() {
  if (unstoredCalls_.empty() || !persistentStore_->isAllStored()) return;
  for (const KICallLog::Number call : unstoredCalls_) calls_->noteDone(call);
  unstoredCalls_.clear();
}

std::uint64_t KovaQueueManager::sizeOfLeftCalls() const {
  const auto& calls = leftCalls_.calls;
  return std::accumulate(
      calls.begin(), calls.end(), std::uint64_t{0},
      [](std::uint64_t sum, const auto& call) { return sum + call.arguments.size() + call.moment.size(); });
}

// Of those that follow one another the first and the last.
void KovaQueueManager::storeDoneCalls(std::span<const KICallLog::Number> others) {
  KICallLog::Numbers calls(others.begin(), others.end());
  calls.insert(unstoredCalls_.begin(), unstoredCalls_.end());
  const auto untold = calls_->untold();
  calls.insert(untold.begin(), untold.end());
  std::vector<Value> numbers;
  const auto add = [&numbers](KICallLog::Number first, KICallLog::Number last) {
    const Value begin(static_cast<std::int64_t>(first));
    const Value end(static_cast<std::int64_t>(last));
    numbers.push_back(first == last ? begin : Value(Array{begin, end}));
  };
  for (auto first = calls.begin(); first != calls.end();) {
    KICallLog::Number last = *first;
    auto next = std::next(first);
    for (; next != calls.end() && *next == last + 1; ++next) last = *next;
    add(*first, last);
    first = next;
  }
  const auto most = static_cast<std::ptrdiff_t>(std::min(numbers.size(), kMostDoneCalls));
  persistentStore_->setObject(Array(std::vector<Value>(numbers.end() - most, numbers.end())), kDoneCallsKey);
}

std::optional<KICallLog::Numbers> KovaQueueManager::storedDoneCalls() const {
  KICallLog::Numbers numbers;
  const auto add = [&numbers](const Value& first, const Value& last) {
    // What is stored may be anybody's.
    if (!first.isInteger() || !last.isInteger()) return;
    if (first.integer() < 0 || last.integer() < first.integer()) return;
    const auto most = std::min(last.integer() - first.integer(), kMostInARow);
    for (std::int64_t i = 0; i <= most && std::ssize(numbers) < kMostInARow; ++i)
      numbers.insert(static_cast<KICallLog::Number>(first.integer() + i));
  };
  const auto stored = persistentStore_->arrayForKey(kDoneCallsKey);
  if (stored.isUnreadable()) return std::nullopt;
  for (const Value& item : stored.value_or(Array())) {
    const bool isRow = item.isArray() && item.array().size() == 2;
    isRow ? add(item.array()[0], item.array()[1]) : add(item, item);
  }
  return numbers;
}

void KovaQueueManager::removeFromPersistentStore(KovaPersistentStore& store) {
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedUrlStrings);
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedEvents);
  store.removeObjectForKey(KovaPersistentPropertyKeyQueuedMessageBatches);
  store.removeObjectForKey(kDoneCallsKey);
  KIJournal::clearFor(store);
}
