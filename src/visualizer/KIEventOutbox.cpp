#include "src/visualizer/KIEventOutbox.h"

#include <utility>

#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

struct KIEventOutbox::Capture {
  std::shared_ptr<const KovaEventVisualizerContext> context;  // null from its encoding on
  std::optional<Dictionary> captured;                         // from its end on
  bool isPosted = false;
};

namespace {

std::shared_ptr<NSOperationQueue> makePictureQueue() {
  auto queue = std::make_shared<NSOperationQueue>();
  queue->setName("com.Kova.pictures");
  queue->setQualityOfService(QualityOfService::Utility);
  return queue;
}

}  // namespace

KIEventOutbox::KIEventOutbox(std::shared_ptr<KISerialStateQueue> mutationQueue)
    : mutationQueue_(std::move(mutationQueue)), pictures_(makePictureQueue()) {}

KIEventOutbox::CaptureRef KIEventOutbox::prepare(std::shared_ptr<const KovaEventVisualizerContext> context) {
  if (!context) return nullptr;
  const auto capture = std::make_shared<Capture>();
  capture->context = std::move(context);
  CaptureRef overdue;
  {
    const MutexLock lock(mutex_);
    waiting_.push_back(capture);
    if (waiting_.size() > kMostWaiting) {
      overdue = std::move(waiting_.front());
      waiting_.pop_front();
    }
  }
  kova::perform(*pictures_, *this, "prepare:", [](KIEventOutbox& self) { self.encodeNext(); });
  if (overdue) {
    const auto unencoded = std::exchange(overdue->context, nullptr);
    finish(*overdue, unencoded->transmittableDictionaryWithoutPictures());
  }
  return capture;
}

void KIEventOutbox::encodeNext() {
  CaptureRef next;
  {
    const MutexLock lock(mutex_);
    if (waiting_.empty()) return;
    next = std::move(waiting_.front());
    waiting_.pop_front();
  }
  const auto context = std::exchange(next->context, nullptr);
  finish(*next, context->transmittableDictionary(encoder_));
}

void KIEventOutbox::finish(Capture& capture, Dictionary captured) {
  {
    const MutexLock lock(mutex_);
    capture.captured = std::move(captured);
    if (!capture.isPosted) return;
  }
  kova::perform(*mutationQueue_, *this, "sendWhatIsReady",
                [](KIEventOutbox& self) KOVA_ON_MUTATION_QUEUE { self.sendWhatIsReady(); });
}

void KIEventOutbox::post(CaptureRef capture, Send send) {
  if (capture) {
    const MutexLock lock(mutex_);
    capture->isPosted = true;
  }
  letters_.push_back({std::move(capture), std::move(send)});
  sendWhatIsReady();
}

std::optional<Dictionary> KIEventOutbox::captured(const CaptureRef& capture) const {
  if (!capture) return Dictionary();
  const MutexLock lock(mutex_);
  return capture->captured;
}

void KIEventOutbox::sendWhatIsReady() {
  while (!letters_.empty()) {
    const auto ready = captured(letters_.front().capture);
    if (!ready) return;
    const Letter letter = std::move(letters_.front());
    letters_.pop_front();
    letter.send(*ready);
  }
}
