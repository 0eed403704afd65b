#include "platform/dispatch/NSOperationQueue.h"

#include <stdexcept>

#include "platform/dispatch/Scheduler.h"
#include "platform/dispatch/internal/MainQueueTimer.h"

namespace platform {

const std::shared_ptr<NSOperationQueue>& NSOperationQueue::mainQueue() {
  static const auto& instance = *new std::shared_ptr<NSOperationQueue>([] {
    auto queue = std::make_shared<NSOperationQueue>();
    queue->setName("NSOperationQueue Main Queue");
    queue->setQualityOfService(QualityOfService::UserInteractive);
    return queue;
  }());
  return instance;
}

void NSOperationQueue::setMaxConcurrentOperationCount(int count) {
  if (count != 1) throw std::invalid_argument("an operation queue runs one operation at a time");
}

void NSOperationQueue::addOperationWithBlock(Work block) {
  if (isMainQueue()) {
    Scheduler::current().mainRunLoop().perform(std::move(block));
  } else if (!hold(block)) {
    runner().async(std::move(block));
  }
}

void NSOperationQueue::addOperationLazily(NSBlockOperation operation) {
  if (isMainQueue()) return addOperation(std::move(operation));
  if (!hold(operation.block_)) runner().asyncLazily(std::move(operation.block_));
}

void NSOperationQueue::addOperationSoon(NSBlockOperation operation) {
  if (isMainQueue()) return addOperation(std::move(operation));
  if (!hold(operation.block_)) runner().asyncSoon(std::move(operation.block_));
}

bool NSOperationQueue::hold(Work& block) {
  if (!isSuspended()) return false;
  MutexLock lock(mutex_);
  if (!isSuspended()) return false;
  held_.push_back(std::move(block));
  return true;
}

void NSOperationQueue::setSuspended(bool isSuspended) {
  if (isMainQueue()) throw std::logic_error("the main queue is never suspended");
  DispatchQueue& queue = runner();
  MutexLock lock(mutex_);
  if (!isSuspended) {
    for (Work& block : held_) queue.async(std::move(block));
    held_.clear();
  }
  isSuspended_.store(isSuspended, std::memory_order_release);
}

std::shared_ptr<DispatchTimer> NSOperationQueue::after(double seconds, Work block) {
  if (isMainQueue()) return MainQueueTimer::start(seconds, std::move(block));
  return runner().after(seconds, std::move(block));
}

void NSOperationQueue::waitUntilAllOperationsAreFinished() {
  if (isMainQueue()) throw std::logic_error("the main queue is never finished");
  runner().waitUntilIdle();
}

void NSOperationQueue::waitForAddedOperations() {
  if (isMainQueue()) throw std::logic_error("the main queue is never finished");
  runner().waitForQueued();
}

bool NSOperationQueue::isCurrent() const {
  if (isMainQueue()) return Scheduler::current().isMainThread();
  if (underlyingQueue_) return underlyingQueue_->isCurrent();
  MutexLock lock(mutex_);
  return ownQueue_ && ownQueue_->isCurrent();
}

DispatchQueue& NSOperationQueue::runner() {
  if (underlyingQueue_) return *underlyingQueue_;
  MutexLock lock(mutex_);
  if (!ownQueue_) ownQueue_ = Scheduler::current().makeSerialQueue(name_, qualityOfService_);
  return *ownQueue_;
}

}  // namespace platform
