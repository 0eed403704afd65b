#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

constexpr const char* kSerialStateQueueName = "com.Kova.serialState";

std::shared_ptr<NSOperationQueue> makeSerialStateQueue() {
  auto queue = std::make_shared<NSOperationQueue>();
  queue->setName(kSerialStateQueueName);
  queue->setQualityOfService(QualityOfService::Background);
  queue->setMaxConcurrentOperationCount(1);
  queue->setUnderlyingQueue(
      Scheduler::current().makeSerialQueue(kSerialStateQueueName, QualityOfService::Background));
  return queue;
}

}  // namespace

const std::shared_ptr<NSOperationQueue>& KOVA_serialStateQueue() {
  static const auto& queue = *new std::shared_ptr<NSOperationQueue>(makeSerialStateQueue());
  return queue;
}
