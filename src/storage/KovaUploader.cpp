#include "src/storage/KovaUploader.h"

#include <atomic>
#include <utility>

#include "platform/foundation/Compression.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaRequestBuilder.h"
#include "src/storage/KovaReachability.h"
#include "src/telemetry/CaptureEndpoint.h"

using namespace platform;

namespace {

constexpr double kDefaultUploadInterval = 15.0;  // seconds
constexpr double kShortestUploadInterval = 0.1;  // seconds; passes without a pause would occupy the device
constexpr double kBatchTimeout = 10.0;           // seconds
constexpr double kPatience = 3.0;                // seconds; a screen that is recorded at all is by then

void logConnectionFailure(const NSError& error) {
  const Value* url = error.userInfo().find(NSURLErrorFailingURLStringErrorKey);
  KovaLogDebug("Connection failed! Error - %@ %@", error.localizedDescription(),
               url ? std::optional(*url) : std::nullopt);
}

// The URL without its query, which may be long and personal.
std::string_view place(const NSURL& url) {
  const std::string_view text = url.absoluteString();
  return text.substr(0, text.find('?'));
}

// Says that what counts as delivered may be lost.
void logUnwelcomeAnswer(const NSURL& url, const std::shared_ptr<NSURLResponse>& response) {
  const auto* answer = dynamic_cast<const NSHTTPURLResponse*>(response.get());
  if (!answer || answer->statusCode() / 100 == 2) return;
  if (NSURLRequest(url).isTooLong()) {
    KovaLogDebug("A URL of %lu bytes is too long to be sent and is dropped: %@", url.absoluteString().size(),
                 place(url));
    return;
  }
  KovaLogDebug("The answer has status %ld, and nothing is sent again: %@", answer->statusCode(), place(url));
}

void tellCounts(const KovaStatus& status) {
  if (!KovaLoggingEnabled(kKovaLogLevelVerbose)) return;
  for (const auto& [name, counts] :
       {std::pair("Events", status.events), std::pair("Requests", status.requests)}) {
    KovaLogVerbose(
        "%@: %lu accepted and %lu found = %lu waiting, %lu delivered, %lu pushed out, %lu refused, %lu unsendable, %lu unreadable; %lu possibly twice",
        name, counts.accepted, counts.found, counts.waiting, counts.delivered, counts.pushedOut,
        counts.refused, counts.unsendable, counts.unreadable, counts.possiblyTwice);
  }
}

// The cause of the line about the network that follows. Said once.
void tellWhenNoApplicationWasStarted() {
  static std::atomic<bool> isTold{false};
  if (UIApplication::sharedApplication() || !KovaLoggingEnabled(kKovaLogLevelDebug) || isTold.exchange(true))
    return;
  KovaLogDebug(
      "No application was started, so that nothing says whether there is a network. Call Kova::startHost before Kova::initialize.");
}

// Plain where there is no memory to compress the body.
NSURLRequest batchRequest(const NSURL& baseUrl, std::string body, KovaUploader::Bodies bodies) {
  NSURLRequest request(KovaRequestBuilder::messageBatchUrlWithBaseUrl(baseUrl),
                       NSURLRequestCachePolicy::useProtocolCachePolicy, kBatchTimeout);
  auto compressed = bodies == KovaUploader::Bodies::Compressed ? gzipped(body) : std::nullopt;
  if (!compressed) return kova::postingJSON(std::move(request), std::move(body));
  request.setValue("gzip", "Content-Encoding");
  return kova::postingJSON(std::move(request), std::move(*compressed));
}

}  // namespace

KovaUploader::KovaUploader(const KovaBaseURL& baseUrl, std::shared_ptr<KovaQueueManager> queueManager,
                           std::shared_ptr<KISerialStateQueue> mutationQueue,
                           std::weak_ptr<KOVAURLSessionProtocol> session, Bodies bodies)
    : baseUrl_(kova::captureEndpoint(baseUrl)),
      queueManager_(std::move(queueManager)),
      mutationQueue_(std::move(mutationQueue)),
      urlSession_(std::move(session)),
      bodies_(bodies),
      uploadInterval_(kDefaultUploadInterval) {}

KovaUploader::~KovaUploader() {
  kova::guarded(
      {"KovaUploader", "dealloc"}, [this] { cancelUploadTimer(); }, kova::OnException::Bail,
      kova::WhenBailed::RunAnyway);
}

void KovaUploader::requestScheduledUploads() {
  kova::perform(*mutationQueue_, *this, "requestScheduledUploads",
                [](KovaUploader& self) KOVA_ON_MUTATION_QUEUE { self.beginUploads(); });
}

// A queue that is busy as the timer falls due comes to a suspension first, and then to what the timer has
// delivered.
void KovaUploader::requestNextUploads() {
  kova::perform(*mutationQueue_, *this, "requestScheduledUploads",
                [](KovaUploader& self) KOVA_ON_MUTATION_QUEUE {
                  if (self.uploadTimer()) self.beginUploads();
                });
}

void KovaUploader::beginUploads() {
  if (isRhythmRunning() || isStopped_) return;
  sendAll();
  synchronizeFiles();
  startUploadTimer();
}

void KovaUploader::startUploadTimer() {
  auto timer = kova::performAfter(uploadInterval_, *mutationQueue_, *this,
                                  [](KovaUploader& self) { self.requestNextUploads(); });
  const MutexLock lock(mutex_);
  uploadTimer_ = std::move(timer);
}

std::shared_ptr<KovaTimer> KovaUploader::uploadTimer() const {
  const MutexLock lock(mutex_);
  return uploadTimer_;
}

bool KovaUploader::isRhythmRunning() const {
  const auto timer = uploadTimer();
  return timer && timer->isRunning();
}

void KovaUploader::watchForAPageview() {
  if (!KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  kova::performAfter(kPatience, *mutationQueue_, *this, [](KovaUploader& self) {
    if (self.isStopped_ || self.isRhythmRunning()) return;
    KovaLogDebug("Uploads wait for a pageview: the app is back in the foreground, and has recorded none.");
  });
}

void KovaUploader::cancelUploadTimer() {
  if (const auto timer = uploadTimer()) timer->cancel();
}

void KovaUploader::suspendScheduledUploads() {
  kova::perform(*mutationQueue_, *this, "suspendScheduledUploads", [](KovaUploader& self) {
    self.cancelUploadTimer();
    self.synchronizeFiles();
    const MutexLock lock(self.mutex_);
    self.uploadTimer_ = nullptr;
  });
}

void KovaUploader::setUploadInterval(double seconds) {
  cancelUploadTimer();
  kova::perform(
      *mutationQueue_, *this, "setUploadInterval:", [seconds](KovaUploader& self) KOVA_ON_MUTATION_QUEUE {
        self.uploadInterval_ = seconds >= kShortestUploadInterval ? seconds : kShortestUploadInterval;
        self.requestScheduledUploads();
      });
}

// Behind what a pass stores as it begins.
void KovaUploader::synchronizeFiles() {
  kova::perform(*mutationQueue_, *this, "synchronizeFiles",
                [](KovaUploader& self) KOVA_ON_MUTATION_QUEUE { self.queueManager_->synchronizeFiles(); });
}

void KovaUploader::stop() {
  isStopped_ = true;  // first, lest a pass that is under way arms the timer again
  cancelUploadTimer();
}

void KovaUploader::sendAll() {
  const auto reachability = KovaReachability::reachabilityForInternetConnection();
  if (!reachability || reachability->currentReachabilityStatus() == KovaReachability::kNotReachable) {
    tellWhenNoApplicationWasStarted();
    KovaLogDebug("Caching data locally, since no internet connection was detected.");
    return;
  }
  kova::perform(*mutationQueue_, *this, "sendAll", [](KovaUploader& self) KOVA_ON_MUTATION_QUEUE {
    if (self.isStopped_) {
      KovaLogDebug("Called -[KovaUploader sendAll] after -[KovaUploader stop]");
      return;
    }
    if (self.pixels_.isSending || self.messageBatches_.isSending) {
      KovaLogDebug("Already sending data");
      // Slow pixels keep no messages in memory.
      if (!self.messageBatches_.isSending) self.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
      return;
    }
    self.queueManager_->moveEnqueuedMessagesToBatchAndPersist();
    if (!self.baseUrl_) return;
    self.sendAllPixelData();
    self.sendAllMessageBatchData();
  });
}

// Steps run at once: one that was queued would let another pass begin before the chain shows that it is in
// flight.
void KovaUploader::send(Chain& chain) {
  kova::guarded({*this, chain.selector}, [&] {
    kova::mutationQueue.isHere();
    const auto session = urlSession_.lock();
    const auto upload = session ? (this->*chain.next)() : std::nullopt;
    if (!upload) {
      if (chain.isSending) KovaLogDebug("%@", chain.lastLine);
      return chainEnded(chain);
    }
    chain.isSending = true;
    const auto ended = [self = retained(*this), &chain, sent = upload->sent](auto, const auto& response,
                                                                             const auto& error) {
      kova::perform(*self->mutationQueue_, *self, chain.selector,
                    [&chain, sent, response, error](KovaUploader& uploader)
                        KOVA_ON_MUTATION_QUEUE { uploader.uploadEnded(chain, sent, response, error); });
    };
    const auto task =
        std::visit([&](const auto& what) { return session->dataTask(what, ended); }, upload->what);
    if (task) task->resume();
  });
}

void KovaUploader::uploadEnded(Chain& chain, const Sent& sent, const std::shared_ptr<NSURLResponse>& response,
                               const std::optional<NSError>& error) {
  if (error) {
    sent.putBack();
    logConnectionFailure(*error);
    return chainEnded(chain);
  }
  logUnwelcomeAnswer(sent.url, response);
  sent.settle();
  if (!isStopped_) return send(chain);
  (*queueManager_.*chain.persist)();
  KovaLogDebug("Sent data to Kova!");
  chainEnded(chain);
}

void KovaUploader::chainEnded(Chain& chain) {
  const bool wasSending = std::exchange(chain.isSending, false);
  if (pixels_.isSending || messageBatches_.isSending) return;
  if (wasSending) tellCounts(queueManager_->counters()->status());
  for (const auto& done : std::exchange(whenIdle_, {})) done();
}

void KovaUploader::whenIdle(std::function<void()> done) {
  kova::perform(*mutationQueue_, *this,
                "whenIdle:", [done = std::move(done)](KovaUploader& self) KOVA_ON_MUTATION_QUEUE {
                  if (!self.pixels_.isSending && !self.messageBatches_.isSending) return done();
                  self.whenIdle_.push_back(done);
                });
}

std::optional<KovaUploader::Upload> KovaUploader::nextPixel() {
  const auto url = queueManager_->dequeueUrlRelativeToUrl(*baseUrl_);
  if (!url) return std::nullopt;
  return Upload{*url,
                {*url,
                 [queues = queueManager_, url = *url] {
                   kova::mutationQueue.isHere();
                   queues->requeueFailedUrl(url);
                 },
                 [queues = queueManager_, url = *url] {
                   kova::mutationQueue.isHere();
                   queues->cleanUpSentUrl(url);
                 }}};
}

std::optional<KovaUploader::Upload> KovaUploader::nextMessageBatch() {
  auto next = queueManager_->dequeueMessageJSONPayloadWithMessageBatch();
  if (!next) return std::nullopt;
  NSURLRequest request = batchRequest(*baseUrl_, std::move(next->payload), bodies_);
  NSURL url = request.url();
  return Upload{std::move(request),
                {std::move(url),
                 [queues = queueManager_, batch = next->batch] {
                   kova::mutationQueue.isHere();
                   queues->requeueFailedMessageBatch(batch);
                 },
                 [queues = queueManager_, batch = next->batch] {
                   kova::mutationQueue.isHere();
                   queues->cleanUpSentMessageBatch(batch);
                 }}};
}
