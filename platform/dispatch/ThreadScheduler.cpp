#include "platform/dispatch/ThreadScheduler.h"

#include <ctime>
#include <stdexcept>

#include "platform/dispatch/internal/ThreadQueue.h"
#include "platform/dispatch/internal/Uptime.h"

namespace platform {

ThreadScheduler& ThreadScheduler::installed() {
  auto* const scheduler = dynamic_cast<ThreadScheduler*>(&Scheduler::current());
  if (!scheduler) throw std::logic_error("the scheduler in force is no ThreadScheduler");
  return *scheduler;
}

NSDate ThreadScheduler::now() {
  const std::chrono::duration<double> since1970 = std::chrono::system_clock::now().time_since_epoch();
  return NSDate::withTimeIntervalSince1970(since1970.count());
}

double ThreadScheduler::uptime() { return deviceUptime(); }

double ThreadScheduler::coarseUptime() {
  timespec tick;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &tick);  // runs behind the steady clock of uptime()
  return static_cast<double>(tick.tv_sec) + static_cast<double>(tick.tv_nsec) * 1e-9;
}

std::shared_ptr<DispatchQueue> ThreadScheduler::makeSerialQueue(std::string label,
                                                                QualityOfService qualityOfService) {
  return std::make_shared<ThreadQueue>(std::move(label), qualityOfService);
}

}  // namespace platform
