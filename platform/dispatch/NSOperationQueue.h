#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/dispatch/DispatchTimer.h"
#include "platform/dispatch/NSBlockOperation.h"
#include "platform/dispatch/QualityOfService.h"
#include "platform/dispatch/Work.h"
#include "platform/runtime/Condition.h"

namespace platform {

// A queue of operations that run one at a time, in the order added: on the underlying dispatch queue, on one
// of its own making when none was set, or, for mainQueue(), on the main run loop.
//
// Properties are set before the first operation is added, by the queue's maker; adding is open to any thread.
// Held by shared pointer; when the last holder lets go, what was added still runs.
class NSOperationQueue : public std::enable_shared_from_this<NSOperationQueue> {
 public:
  NSOperationQueue() = default;
  NSOperationQueue(const NSOperationQueue&) = delete;
  NSOperationQueue& operator=(const NSOperationQueue&) = delete;

  // The queue of the main thread. It has no underlying queue. Lives as long as the process.
  static const std::shared_ptr<NSOperationQueue>& mainQueue();

  const std::string& name() const { return name_; }
  void setName(std::string name) { name_ = std::move(name); }

  QualityOfService qualityOfService() const { return qualityOfService_; }
  void setQualityOfService(QualityOfService quality) { qualityOfService_ = quality; }

  // Operations never run side by side: 1 is the only count there is, and setting another throws
  // std::invalid_argument.
  int maxConcurrentOperationCount() const { return 1; }
  void setMaxConcurrentOperationCount(int count);

  // The dispatch queue that was set, or null.
  const std::shared_ptr<DispatchQueue>& underlyingQueue() const { return underlyingQueue_; }
  void setUnderlyingQueue(std::shared_ptr<DispatchQueue> queue) { underlyingQueue_ = std::move(queue); }

  // Any thread.
  void addOperation(NSBlockOperation operation) { addOperationWithBlock(std::move(operation.block_)); }
  void addOperationWithBlock(Work block);
  // Leaves a queue that sleeps asleep; see DispatchQueue::asyncLazily. The main queue is always woken.
  void addOperationLazily(NSBlockOperation operation);
  // Likewise, see DispatchQueue::asyncSoon.
  void addOperationSoon(NSBlockOperation operation);

  // While suspended, what is added waits, and runs in its order afterwards; what after() brings runs all the
  // same. Any thread; not for the main queue.
  void setSuspended(bool isSuspended);
  bool isSuspended() const { return isSuspended_.load(std::memory_order_acquire); }

  // Runs the block as this queue's work, once, `seconds` of uptime from now, whichever kind of queue this is.
  // Any thread.
  std::shared_ptr<DispatchTimer> after(double seconds, Work block);

  // Returns when no operation is queued or runs any more: those added meanwhile count, those that a
  // suspension holds back do not. Throws std::logic_error on the main queue, and when called by this queue's
  // own work.
  void waitUntilAllOperationsAreFinished();

  // Returns when the operations that were added before this call have finished, whatever is added meanwhile.
  // Otherwise as above.
  void waitForAddedOperations();

  // Whether the caller runs as this queue's work; for the main queue, whether it is on the main thread.
  bool isCurrent() const;

 private:
  bool isMainQueue() const { return this == mainQueue().get(); }
  // Whether the block has been taken, because the queue is suspended.
  bool hold(Work& block);
  // The dispatch queue that runs the operations, made at the first call when none was set.
  DispatchQueue& runner();

  std::string name_;
  QualityOfService qualityOfService_ = QualityOfService::Default;
  std::shared_ptr<DispatchQueue> underlyingQueue_;

  mutable Mutex mutex_;
  std::atomic<bool> isSuspended_ = false;  // changed with the mutex held
  std::vector<Work> held_ PLATFORM_GUARDED_BY(mutex_);
  std::shared_ptr<DispatchQueue> ownQueue_ PLATFORM_GUARDED_BY(mutex_);
};

}  // namespace platform
