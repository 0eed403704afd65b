#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Value.h"
#include "src/storage/store/KovaPersistentStore.h"

// What waits to be uploaded, oldest first, kept under a key of the store. What is taken off the queue stays
// stored, ahead of what waits, until it has been settled or put back: a process that ends in between loses
// nothing.
//
// Items are strings or dictionaries. The store, held by the owner, must outlive the queue. On the owner's
// queue only; no operation fails.
template <class Item>
class KIStoredQueue {
 public:
  KIStoredQueue(KovaPersistentStore& store, std::string_view key, std::size_t limit)
      : store_(store), key_(key), limit_(limit) {}

  // Puts the stored items in front of those pushed meanwhile. Where that exceeds the limit the newest go, and
  // are answered. Nothing is written before.
  std::vector<Item> load(const std::vector<Item>& stored) KOVA_ON_MUTATION_QUEUE {
    isLoaded_ = true;
    const bool isNew = !waiting_.empty() || !inFlight_.empty();
    const std::size_t longest = std::max(limit_, stored.size());
    waiting_.insert(waiting_.begin(), stored.begin(), stored.end());
    std::vector<Item> dropped;
    if (!isNew) return dropped;
    for (; waiting_.size() > longest; waiting_.pop_back()) dropped.push_back(std::move(waiting_.back()));
    persist();
    return dropped;
  }
  bool isLoaded() const { return isLoaded_; }

  // Of what waits; what is in flight does not count.
  std::size_t size() const { return waiting_.size(); }
  bool hasRoom() const { return size() < limit_; }
  // Whether nothing waits and nothing is in flight.
  bool isEmpty() const { return waiting_.empty() && inFlight_.empty(); }
  const Item* next() const { return waiting_.empty() ? nullptr : &waiting_.front(); }

  // Changes are in memory until one of the two persist operations. None asks for the limit.
  void push(Item item) {
    waiting_.push_back(std::move(item));
    isUnsaved_ = true;
  }
  void pushFirst(Item item) {
    waiting_.push_front(std::move(item));
    isUnsaved_ = true;
  }
  // Takes the next one off the queue, into flight: as it is, which changes nothing that is stored, or in the
  // form that is sent.
  Item take() {
    inFlight_.push_back(std::move(waiting_.front()));
    waiting_.pop_front();
    return inFlight_.back();
  }
  Item take(Item sent) {
    drop();
    inFlight_.push_back(sent);
    return sent;
  }
  // Takes the next one off the queue for good.
  void drop() {
    waiting_.pop_front();
    isUnsaved_ = true;
  }
  // What was taken has failed: it goes back to the front.
  void putBack(const Item& taken) {
    settle(taken);
    pushFirst(taken);
  }
  // What was taken is done with. Of equal ones, one.
  void settle(const Item& taken) {
    const auto found = std::find_if(inFlight_.begin(), inFlight_.end(), [&taken](const Item& item) {
      return platform::Value(item) == platform::Value(taken);
    });
    if (found != inFlight_.end()) inFlight_.erase(found);
    isUnsaved_ = true;
  }

  void persist() KOVA_ON_MUTATION_QUEUE {
    if (!isLoaded_) return;
    std::vector<platform::Value> items;
    items.reserve(inFlight_.size() + waiting_.size());
    forEach([&items](const Item& item) { items.emplace_back(item); });
    isUnsaved_ = !store_.setObject(platform::Array(std::move(items)), key_);
  }
  // The same, unless the store is known to hold it.
  void persistUnsaved() KOVA_ON_MUTATION_QUEUE {
    if (isUnsaved_) persist();
  }
  // The step of the store is done in which it was persisted.
  void noteSaved() { isUnsaved_ = false; }

  // In the stored order.
  template <class Visit>
  void forEach(Visit visit) const {
    std::for_each(inFlight_.begin(), inFlight_.end(), visit);
    std::for_each(waiting_.begin(), waiting_.end(), visit);
  }

 private:
  KovaPersistentStore& store_;
  const std::string_view key_;  // a constant's
  const std::size_t limit_;
  bool isLoaded_ = false;
  bool isUnsaved_ = false;  // what the store holds is not this: not written yet, or refused
  std::deque<Item> waiting_;
  std::vector<Item> inFlight_;
};
