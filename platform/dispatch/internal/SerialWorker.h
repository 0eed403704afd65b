#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "platform/dispatch/QualityOfService.h"
#include "platform/dispatch/TimerTable.h"
#include "platform/dispatch/Work.h"
#include "platform/runtime/Condition.h"

namespace platform {

// The thread of one serial queue and what waits for it. The thread starts with the first work, sleeps until
// there is work or a timer is due, and leaves some time after close(), when what was queued has run. It is
// detached and shares the worker with the queue and with timer handles, so that nobody ever waits for it:
// neither a queue that dies on its own thread, nor a process that exits with work in flight.
class SerialWorker : public std::enable_shared_from_this<SerialWorker> {
 public:
  using Timers = TimerTable<Work>;

  SerialWorker(std::string label, QualityOfService qualityOfService)
      : label_(std::move(label)), qualityOfService_(qualityOfService) {}

  // Any thread. Throws std::system_error, with nothing added, when the system gives no thread.
  void add(Work work);
  // As add(), but leaves a thread that sleeps asleep.
  void addLazily(Work work);
  // As add(), but leaves a thread that rests to its rest.
  void addSoon(Work work);
  Timers::Key addTimer(double deadline, Work work);
  void removeTimer(const Timers::Key& key);

  // No more work will be added; timers that wait are dropped.
  void close();

  // Returns when nothing is queued and nothing runs, work that was added meanwhile included. Not on the
  // thread itself.
  void waitUntilIdle();

  bool isCurrent() const;

 private:
  void startIfNeeded() PLATFORM_REQUIRES(mutex_);
  // Answers whether the thread must be woken, which the caller does when it has let go of the lock.
  bool takeWait() PLATFORM_REQUIRES(mutex_);

  void runOnThread() noexcept;
  // Waits for a wake-up, or until a rest is over or the timer due.
  void wait(std::optional<double> timerDeadline) PLATFORM_REQUIRES(mutex_);
  // Takes what is queued, and returns when there is some or a timer is due; false when the thread may leave.
  bool waitForWork();
  void letGoOfMemory() noexcept;
  void runDueTimers();

  const std::string label_;
  const QualityOfService qualityOfService_;
  Mutex mutex_;
  Condition wake_;
  std::deque<Work> batch_;  // what the thread works off; its own, made here because that takes memory
  std::deque<Work> queued_ PLATFORM_GUARDED_BY(mutex_);
  Timers timers_ PLATFORM_GUARDED_BY(mutex_);
  bool started_ PLATFORM_GUARDED_BY(mutex_) = false;
  enum class Wait { None, Rest, Sleep };
  Wait wait_ PLATFORM_GUARDED_BY(mutex_) = Wait::None;
  int restsLeft_ PLATFORM_GUARDED_BY(mutex_) = 0;  // before the thread sleeps
  bool closed_ PLATFORM_GUARDED_BY(mutex_) = false;
  bool busy_ PLATFORM_GUARDED_BY(mutex_) = false;
  Condition idle_;  // signalled for those who wait
  int idleWaiters_ PLATFORM_GUARDED_BY(mutex_) = 0;
};

}  // namespace platform
