#pragma once

#include <atomic>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

// The real scheduler: a thread a serial queue, made when the queue first has something to do, and a main run
// loop.
//
// Quality of service does not become a thread priority: a worker of low priority that is preempted while it
// holds its queue's lock would keep the main thread waiting. Worker threads take no signals of the process,
// and nothing waits for them when it exits.
class ThreadScheduler final : public Scheduler {
 public:
  // The scheduler in force. Throws std::logic_error when that is of another kind.
  static ThreadScheduler& installed();

  // The loop for hosts without one of their own: `ThreadScheduler::installed().ownRunLoop().run()`.
  MainRunLoop& ownRunLoop() { return ownRunLoop_; }

  // Presents another toolkit's event loop as the main one, at start-up, before work was handed to the own
  // loop. The loop must live as long as the process.
  void setMainRunLoop(RunLoop& loop) { mainRunLoop_.store(&loop, std::memory_order_release); }

  NSDate now() override;
  double uptime() override;
  double coarseUptime() override;
  std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label,
                                                 QualityOfService qualityOfService) override;
  RunLoop& mainRunLoop() override { return *mainRunLoop_.load(std::memory_order_acquire); }
  bool isMainThread() override { return mainRunLoop().isMainThread(); }

 private:
  MainRunLoop ownRunLoop_;
  std::atomic<RunLoop*> mainRunLoop_{&ownRunLoop_};
};

}  // namespace platform
