#pragma once

#include <memory>
#include <string>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/dispatch/QualityOfService.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/foundation/NSDate.h"

namespace platform {

// Where all time and all queues come from. One scheduler is in force in a process: ThreadScheduler, or in
// tests one under virtual time. Every method may be called from any thread.
class Scheduler {
 public:
  virtual ~Scheduler() = default;

  // The scheduler in force; a ThreadScheduler if none was installed before.
  static Scheduler& current();

  // Puts a scheduler in force, for the life of the process or until another replaces it. One that was
  // replaced is kept, because its queues may be in use. Meant for the start of a test, before anything has
  // asked for current().
  static Scheduler& install(std::unique_ptr<Scheduler> scheduler);

  // The clock on the wall; it may be set back and forth.
  virtual NSDate now() = 0;

  // Seconds that only ever grow, from an arbitrary start.
  virtual double uptime() = 0;
  // The same as of the last tick of the system's clock, 10 ms ago at most, for a fraction of the cost.
  virtual double coarseUptime() { return uptime(); }

  virtual std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label,
                                                         QualityOfService qualityOfService) = 0;

  virtual RunLoop& mainRunLoop() = 0;

  // Cheap: no system call.
  virtual bool isMainThread() = 0;
};

}  // namespace platform
