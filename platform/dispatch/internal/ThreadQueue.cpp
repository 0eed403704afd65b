#include "platform/dispatch/internal/ThreadQueue.h"

#include <future>
#include <stdexcept>

#include "platform/dispatch/internal/SerialWorker.h"
#include "platform/dispatch/internal/Uptime.h"

namespace platform {

namespace {

class WorkerTimer final : public DispatchTimer {
 public:
  WorkerTimer(std::weak_ptr<SerialWorker> worker, SerialWorker::Timers::Key key)
      : worker_(std::move(worker)), key_(key) {}

  void cancel() override {
    if (const auto worker = worker_.lock()) worker->removeTimer(key_);
  }

 private:
  const std::weak_ptr<SerialWorker> worker_;
  const SerialWorker::Timers::Key key_;
};

}  // namespace

ThreadQueue::ThreadQueue(std::string label, QualityOfService qualityOfService)
    : DispatchQueue(std::move(label), qualityOfService),
      worker_(std::make_shared<SerialWorker>(this->label(), qualityOfService)) {}

ThreadQueue::~ThreadQueue() { worker_->close(); }

void ThreadQueue::async(Work work) { worker_->add(std::move(work)); }

void ThreadQueue::asyncLazily(Work work) { worker_->addLazily(std::move(work)); }

void ThreadQueue::asyncSoon(Work work) { worker_->addSoon(std::move(work)); }

std::shared_ptr<DispatchTimer> ThreadQueue::after(double seconds, Work work) {
  const auto key = worker_->addTimer(deviceUptime() + validDelay(seconds), std::move(work));
  return std::make_shared<WorkerTimer>(worker_, key);
}

void ThreadQueue::waitUntilIdle() {
  if (isCurrent()) throw std::logic_error("work of a queue waits for its own queue");
  worker_->waitUntilIdle();
}

void ThreadQueue::waitForQueued() {
  if (isCurrent()) throw std::logic_error("work of a queue waits for its own queue");
  const auto reached = std::make_shared<std::promise<void>>();
  worker_->add([reached] { reached->set_value(); });
  reached->get_future().wait();
}

bool ThreadQueue::isCurrent() const { return worker_->isCurrent(); }

}  // namespace platform
