#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/dispatch/Scheduler.h"

// Another scheduler, but for what a test overrides.
class ForwardingScheduler : public platform::Scheduler {
 public:
  explicit ForwardingScheduler(platform::Scheduler& scheduler) : scheduler_(scheduler) {}

  platform::NSDate now() override { return scheduler_.now(); }
  double uptime() override { return scheduler_.uptime(); }
  std::shared_ptr<platform::DispatchQueue> makeSerialQueue(std::string label,
                                                           platform::QualityOfService quality) override {
    return scheduler_.makeSerialQueue(std::move(label), quality);
  }
  platform::RunLoop& mainRunLoop() override { return scheduler_.mainRunLoop(); }
  bool isMainThread() override { return scheduler_.isMainThread(); }

 private:
  platform::Scheduler& scheduler_;
};
