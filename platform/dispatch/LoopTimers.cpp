#include "platform/dispatch/LoopTimers.h"

#include <utility>

#include "platform/dispatch/NSTimer.h"

namespace platform {

void LoopTimers::add(std::shared_ptr<NSTimer> timer, RunLoopMode mode) {
  const NSTimer* const identity = timer.get();
  const double deadline = timer->fireUptime();
  keys_[identity] = table_.add(deadline, Entry{std::move(timer), mode});
}

std::optional<LoopTimers::Entry> LoopTimers::remove(const NSTimer& timer) {
  const auto found = keys_.find(&timer);
  if (found == keys_.end()) return std::nullopt;
  auto removed = table_.remove(found->second);
  keys_.erase(found);
  return removed;
}

std::optional<double> LoopTimers::nextDeadline(RunLoopMode mode) const {
  const auto key = first(mode);
  return key ? std::optional(key->deadline) : std::nullopt;
}

std::optional<LoopTimers::Entry> LoopTimers::takeDue(RunLoopMode mode, double uptime) {
  const auto key = first(mode);
  if (!key || key->deadline > uptime) return std::nullopt;
  auto due = table_.remove(*key);
  keys_.erase(due->timer.get());
  return due;
}

void LoopTimers::detachAll() {
  for (const auto& [key, entry] : table_.entries()) entry.timer->attach(nullptr);
}

std::optional<LoopTimers::Table::Key> LoopTimers::first(RunLoopMode mode) const {
  return table_.first([mode](const Entry& entry) {
    return mode == RunLoopMode::Common || entry.mode == mode || entry.mode == RunLoopMode::Common;
  });
}

}  // namespace platform
