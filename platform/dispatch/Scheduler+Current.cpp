// The scheduler in force. Apart from Scheduler.h's own file because it knows which scheduler is the real one,
// and that one stands above the interface.

#include <atomic>
#include <vector>

#include "platform/dispatch/Scheduler.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/runtime/Condition.h"

namespace platform {

namespace {

std::atomic<Scheduler*> inForce{nullptr};

struct Installed {
  Mutex mutex;
  // Those that were replaced too.
  std::vector<std::unique_ptr<Scheduler>> schedulers PLATFORM_GUARDED_BY(mutex);
};

Installed& installed() {
  static Installed& instance = *new Installed;
  return instance;
}

}  // namespace

Scheduler& Scheduler::current() {
  if (Scheduler* scheduler = inForce.load(std::memory_order_acquire)) return *scheduler;
  Installed& all = installed();
  MutexLock lock(all.mutex);
  if (Scheduler* scheduler = inForce.load(std::memory_order_acquire)) return *scheduler;
  all.schedulers.push_back(std::make_unique<ThreadScheduler>());
  inForce.store(all.schedulers.back().get(), std::memory_order_release);
  return *all.schedulers.back();
}

Scheduler& Scheduler::install(std::unique_ptr<Scheduler> scheduler) {
  Installed& all = installed();
  MutexLock lock(all.mutex);
  all.schedulers.push_back(std::move(scheduler));
  inForce.store(all.schedulers.back().get(), std::memory_order_release);
  return *all.schedulers.back();
}

}  // namespace platform
