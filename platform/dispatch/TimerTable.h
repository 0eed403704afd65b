#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace platform {

// Entries in order of their deadline, those of one deadline in the order added. Removing an entry leaves
// nothing behind. Not thread-safe; its owner locks.
template <typename Entry>
class TimerTable {
 public:
  struct Key {
    double deadline = 0;  // in seconds of Scheduler::uptime()
    std::uint64_t sequence = 0;
    auto operator<=>(const Key&) const = default;
  };

  Key add(double deadline, Entry entry) {
    const Key key{deadline, ++lastSequence_};
    entries_.emplace(key, std::move(entry));
    return key;
  }

  // The entry, for the caller to release where no lock is held; nothing when it is gone already.
  std::optional<Entry> remove(const Key& key) {
    auto node = entries_.extract(key);
    if (node.empty()) return std::nullopt;
    return std::move(node.mapped());
  }

  std::optional<Key> first() const {
    return first([](const Entry&) { return true; });
  }

  // The earliest entry that suits.
  template <typename Predicate>
  std::optional<Key> first(Predicate suits) const {
    for (const auto& [key, entry] : entries_) {
      if (suits(entry)) return key;
    }
    return std::nullopt;
  }

  const std::map<Key, Entry>& entries() const { return entries_; }

 private:
  std::map<Key, Entry> entries_;
  std::uint64_t lastSequence_ = 0;
};

}  // namespace platform
