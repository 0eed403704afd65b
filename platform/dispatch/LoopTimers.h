#pragma once

#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/dispatch/RunLoop.h"
#include "platform/dispatch/TimerTable.h"

namespace platform {

// The timers that a run loop retains. Common, where a mode is asked for, means a loop that keeps no mode:
// every timer suits. Not thread-safe; the loop locks if it has to.
class LoopTimers {
 public:
  struct Entry {
    std::shared_ptr<NSTimer> timer;
    RunLoopMode mode;
  };

  // The timer is valid, attached to the loop and not in here.
  void add(std::shared_ptr<NSTimer> timer, RunLoopMode mode);
  // The entry, for the caller to release where no lock is held; nothing when it is not in here.
  std::optional<Entry> remove(const NSTimer& timer);
  // Seconds of uptime; nothing when no timer suits the mode.
  std::optional<double> nextDeadline(RunLoopMode mode) const;
  // Removes the earliest timer that suits the mode and is due by then, for the loop to fire it.
  std::optional<Entry> takeDue(RunLoopMode mode, double uptime);
  // From now on no timer knows of the loop.
  void detachAll();

 private:
  using Table = TimerTable<Entry>;

  std::optional<Table::Key> first(RunLoopMode mode) const;

  Table table_;
  std::unordered_map<const NSTimer*, Table::Key> keys_;
};

}  // namespace platform
