#pragma once

#include <Kova/KovaBaseURL.h>
#include <Kova/KovaURLSessionProtocol.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/NSURL.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/NSObject.h"
#include "src/core/KovaTimer.h"
#include "src/storage/KovaQueueManager.h"

// Drains the queues over HTTP: pixel URLs as GETs, message batches as JSON POSTs, each kind one request at a
// time and the two side by side. An upload pass every 15 s while its rhythm runs; no pass while there is no
// network.
//
// Whatever ends in a transport error goes back to the front of its queue and waits for the next pass. Any
// HTTP answer counts as delivered, whatever its status; one other than 2xx has a debug line of its own. While
// pixels are under way, passes still make batches of what waits.
//
// Made by the tracker; a request in flight keeps the uploader alive, so that a failed one is put back. Once
// stopped it stays stopped: the request in flight is its last. Any thread may call; queues and flags change
// on the mutation queue.
class KovaUploader : public platform::NSObject {
  NS_OBJECT(KovaUploader, NSObject)

 public:
  // No base URL selects the default capture endpoint; with one that cannot be used, nothing is sent. The
  // session is held weakly.
  enum class Bodies { Plain, Compressed };  // of batches
  KovaUploader(const KovaBaseURL& baseUrl, std::shared_ptr<KovaQueueManager> queueManager,
               std::shared_ptr<KISerialStateQueue> mutationQueue,
               std::weak_ptr<KOVAURLSessionProtocol> session, Bodies bodies = Bodies::Plain);
  ~KovaUploader() override;

  // Starts the rhythm with a pass at once, unless it is running.
  void requestScheduledUploads();
  void suspendScheduledUploads();
  // For the return to the foreground: a debug line, a little later, if no pageview has begun the rhythm
  // again.
  void watchForAPageview();
  // Seconds, at least 0.1; sends a pass at once and goes on in the new rhythm.
  void setUploadInterval(double seconds);
  // One pass now. The network is asked for on the calling thread.
  void sendAll();
  // Runs `done` on the mutation queue when no request is in flight and none follows by itself: at once, or
  // with the end of the pass that is under way.
  void whenIdle(std::function<void()> done);
  void stop();

 private:
  void synchronizeFiles();
  // What is kept of an upload while it is in flight, its body not; one of the two then says what became of
  // it.
  struct Sent {
    platform::NSURL url;
    std::function<void()> putBack;
    std::function<void()> settle;
  };
  struct Upload {
    std::variant<platform::NSURL, platform::NSURLRequest> what;  // a URL is got
    Sent sent;
  };
  // One request at a time, until the queue has no more.
  struct Chain {
    const char* const selector;
    const std::string_view lastLine;
    std::optional<Upload> (KovaUploader::*const next)();
    void (KovaQueueManager::*const persist)();
    bool isSending = false;
  };

  void sendAllPixelData() KOVA_ON_MUTATION_QUEUE { send(pixels_); }
  void sendAllMessageBatchData() KOVA_ON_MUTATION_QUEUE { send(messageBatches_); }
  void send(Chain& chain) KOVA_ON_MUTATION_QUEUE;
  void chainEnded(Chain& chain) KOVA_ON_MUTATION_QUEUE;
  void uploadEnded(Chain& chain, const Sent& sent, const std::shared_ptr<platform::NSURLResponse>& response,
                   const std::optional<platform::NSError>& error) KOVA_ON_MUTATION_QUEUE;
  std::optional<Upload> nextPixel() KOVA_ON_MUTATION_QUEUE;
  std::optional<Upload> nextMessageBatch() KOVA_ON_MUTATION_QUEUE;
  // What the timer asks for: nothing once the rhythm is suspended.
  void requestNextUploads();
  void beginUploads() KOVA_ON_MUTATION_QUEUE;
  void startUploadTimer() KOVA_ON_MUTATION_QUEUE;
  void cancelUploadTimer();
  std::shared_ptr<KovaTimer> uploadTimer() const;
  bool isRhythmRunning() const;

  const std::optional<platform::NSURL> baseUrl_;  // none: nothing can be sent
  const std::shared_ptr<KovaQueueManager> queueManager_;
  const std::shared_ptr<KISerialStateQueue> mutationQueue_;
  const std::weak_ptr<KOVAURLSessionProtocol> urlSession_;
  const Bodies bodies_;

  std::atomic<bool> isStopped_ = false;
  mutable platform::Mutex mutex_;
  std::shared_ptr<KovaTimer> uploadTimer_ PLATFORM_GUARDED_BY(mutex_);

  Chain pixels_ KOVA_OF_MUTATION_QUEUE{"sendAllPixelData", "Sent data to Kova!", &KovaUploader::nextPixel,
                                       &KovaQueueManager::persistQueuedUrlStrings};
  Chain messageBatches_ KOVA_OF_MUTATION_QUEUE{"sendAllMessageBatchData", "Sent message batch to Kova!",
                                               &KovaUploader::nextMessageBatch,
                                               &KovaQueueManager::persistQueuedMessageBatches};
  double uploadInterval_ KOVA_OF_MUTATION_QUEUE;
  std::vector<std::function<void()>> whenIdle_ KOVA_OF_MUTATION_QUEUE;
};
