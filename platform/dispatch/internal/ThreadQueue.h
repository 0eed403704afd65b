#pragma once

#include "platform/dispatch/DispatchQueue.h"

namespace platform {

class SerialWorker;

// A serial queue with a thread of its own; see SerialWorker.
class ThreadQueue final : public DispatchQueue {
 public:
  ThreadQueue(std::string label, QualityOfService qualityOfService);
  ~ThreadQueue() override;

  void async(Work work) override;
  void asyncLazily(Work work) override;
  void asyncSoon(Work work) override;
  std::shared_ptr<DispatchTimer> after(double seconds, Work work) override;
  void waitUntilIdle() override;
  void waitForQueued() override;
  bool isCurrent() const override;

 private:
  const std::shared_ptr<SerialWorker> worker_;
};

}  // namespace platform
