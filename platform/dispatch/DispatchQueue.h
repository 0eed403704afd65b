#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/dispatch/DispatchTimer.h"
#include "platform/dispatch/QualityOfService.h"
#include "platform/dispatch/Work.h"

namespace platform {

// A serial queue: runs one piece of work at a time, in the order added. Made by Scheduler::makeSerialQueue.
//
// Owned by whoever holds it. When the last holder lets go, which may be on the queue itself, what is queued
// still runs, timers that have not fired are dropped with their work, and nobody waits for any of it.
class DispatchQueue {
 public:
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;
  virtual ~DispatchQueue() = default;

  const std::string& label() const { return label_; }
  QualityOfService qualityOfService() const { return qualityOfService_; }

  // Any thread. Returns at once.
  virtual void async(Work work) = 0;
  // As async(), for work that only has to be done before what is added after it: the work has its place in
  // the order, but a queue that sleeps is not woken for it. It runs with what wakes the queue next: other
  // work, a timer, or somebody who waits for the queue to be idle. Saves the caller the system call of waking
  // a thread.
  virtual void asyncLazily(Work work) { async(std::move(work)); }

  // As async(), for work that many callers bring and nobody waits for: a queue that has run such work lately
  // looks for more by itself, every 2 ms for 20 ms, and is not woken. One that sleeps is.
  virtual void asyncSoon(Work work) { async(std::move(work)); }

  // Any thread. Runs the work on this queue once, `seconds` of uptime from now (0 if negative); the clock on
  // the wall does not matter. Never null.
  virtual std::shared_ptr<DispatchTimer> after(double seconds, Work work) = 0;

  // Returns when nothing is queued and nothing runs any more, what was added meanwhile included; timers that
  // wait do not count. Throws std::logic_error when called by this queue's own work, which would wait for
  // itself.
  virtual void waitUntilIdle() = 0;

  // Returns when what was added before this call has run; what is added meanwhile is not waited for. Throws
  // as above.
  virtual void waitForQueued() = 0;

  // Whether the caller is work of this queue.
  virtual bool isCurrent() const = 0;

 protected:
  DispatchQueue(std::string label, QualityOfService qualityOfService)
      : label_(std::move(label)), qualityOfService_(qualityOfService) {}

 private:
  const std::string label_;
  const QualityOfService qualityOfService_;
};

}  // namespace platform
