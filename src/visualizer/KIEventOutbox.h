#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Value.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/NSObject.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KIPictureEncoder.h"
#include "src/visualizer/KovaEventVisualizerContext.h"

// What a paired app has to say, in the order recorded, although pictures take longer than messages.
//
// Pictures are encoded on a queue of the outbox's own, from the moment they were taken. What is posted leaves
// once its pictures are encoded and all that was posted before it has left. At most kMostWaiting captures
// wait to be encoded, so that a screen that is costly to encode holds neither memory nor the mutation queue:
// beyond that the oldest lose their pictures, and nothing else.
//
// Held by shared pointer; pictures that are being encoded keep it, so that what was posted leaves in any
// case.
class KIEventOutbox : public platform::NSObject {
  NS_OBJECT(KIEventOutbox, NSObject)

 public:
  static constexpr std::size_t kMostWaiting = 8;

  // What was on screen at one moment.
  struct Capture;
  using CaptureRef = std::shared_ptr<Capture>;
  // Sends something, together with what is to be sent of its capture.
  using Send = std::function<void(const platform::Dictionary& captured)>;

  explicit KIEventOutbox(std::shared_ptr<KISerialStateQueue> mutationQueue);

  // Null for null. Any thread; returns at once.
  CaptureRef prepare(std::shared_ptr<const KovaEventVisualizerContext> context);
  // Calls `send` on the mutation queue when its turn has come, within this call if that is now. Null stands
  // for nothing captured.
  void post(CaptureRef capture, Send send) KOVA_ON_MUTATION_QUEUE;

 private:
  struct Letter {
    CaptureRef capture;
    Send send;
  };

  void encodeNext();
  void finish(Capture& capture, platform::Dictionary captured);
  // Nothing while its pictures are not encoded.
  std::optional<platform::Dictionary> captured(const CaptureRef& capture) const;
  void sendWhatIsReady() KOVA_ON_MUTATION_QUEUE;

  const std::shared_ptr<KISerialStateQueue> mutationQueue_;
  const std::shared_ptr<platform::NSOperationQueue> pictures_;
  KIPictureEncoder encoder_;  // of the queue of pictures

  std::deque<Letter> letters_ KOVA_OF_MUTATION_QUEUE;

  mutable platform::Mutex mutex_;  // also of the captures
  std::deque<CaptureRef> waiting_ PLATFORM_GUARDED_BY(mutex_);
};
