#include "src/storage/KovaUploader.h"

#include <deque>
#include <utility>

#include "platform/dispatch/DispatchQueue.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/src/storage/QueueFixture.h"
#include "tests/support/HeldURLSession.h"

using namespace platform;
using namespace testing;

namespace {

constexpr double kInterval = 15;
const std::string kService = "http://capture.example";
const std::string kTrack = "/api/integrations/ios/track";
constexpr const char* kSentData = "[KOVA DEBUG]: Sent data to Kova!";
constexpr const char* kSentBatch = "[KOVA DEBUG]: Sent message batch to Kova!";
constexpr const char* kAlreadySending = "[KOVA DEBUG]: Already sending data";

// Comes to nothing by itself: what it is given meanwhile waits behind the rest.
class BusyQueue : public DispatchQueue {
 public:
  BusyQueue() : DispatchQueue("busy", QualityOfService::Background) {}
  void async(Work work) override { queued_.push_back(std::move(work)); }
  std::shared_ptr<DispatchTimer> after(double, Work work) override {
    struct Timer : DispatchTimer {
      void cancel() override {}
    };
    due = std::move(work);
    return std::make_shared<Timer>();
  }
  void drain() {
    for (; !queued_.empty(); queued_.pop_front()) queued_.front()();
  }
  void waitUntilIdle() override { drain(); }
  void waitForQueued() override { drain(); }
  bool isCurrent() const override { return true; }

  Work due;  // what the last timer does

 private:
  std::deque<Work> queued_;
};

class KovaUploaderTest : public QueueTest {
 protected:
  std::shared_ptr<KovaUploader> uploaderTo(const KovaBaseURL& baseUrl) const {
    return std::make_shared<KovaUploader>(baseUrl, queues, KOVA_serialStateQueue(), wire);
  }

  static std::string pixel(int number, int second = 0) {
    return "GET " + kService + "/h?n=" + std::to_string(number) +
           "&st=" + std::to_string(1767225600 + second) + "000";
  }
  static std::string batch(int number, int second = 0) {
    return "POST " + kService + kTrack + " " + body("[" + json(enriched(number)) + "]", second);
  }
  // What has been asked for and is open.
  std::vector<std::string> asked() {
    device.drain();
    std::vector<std::string> texts;
    for (const auto& request : wire->open) texts.push_back(request.text());
    return texts;
  }
  void answer(const std::string& text) {
    const auto found = std::ranges::find(wire->open, text, &HeldURLSession::Open::text);
    ASSERT_NE(found, wire->open.end()) << text;
    const auto request = *found;
    wire->open.erase(found);
    request.answer(200);
    device.drain();
  }
  // Answers each request, until none is made any more; which they were.
  std::vector<std::string> answered(int status = 200) {
    std::vector<std::string> all;
    for (auto texts = asked(); !texts.empty(); texts = asked()) {
      all.insert(all.end(), texts.begin(), texts.end());
      for (const auto& request : wire->takeOpen()) request.answer(status);
    }
    return all;
  }

  const std::shared_ptr<HeldURLSession> wire = std::make_shared<HeldURLSession>();
  std::shared_ptr<KovaUploader> uploader = uploaderTo(kService.c_str());
};

TEST_F(KovaUploaderTest, SendsInOrderEveryFifteenSeconds) {
  enqueueUrls({"h?n=1", "h?n=2"});
  uploader->requestScheduledUploads();
  EXPECT_THAT(answered(), ElementsAre(pixel(1), pixel(2)));
  enqueueUrls({"h?n=3"});
  uploader->requestScheduledUploads();  // its rhythm runs
  device.advance(kInterval - 0.1);
  EXPECT_THAT(answered(), IsEmpty());
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
  device.advance(0.1);
  EXPECT_THAT(answered(), ElementsAre(pixel(3, 15)));
  device.advance(3 * kInterval);
  EXPECT_THAT(device.log(), ElementsAre(kSentData, kSentData)) << "a pass with nothing to send says nothing";
}

TEST_F(KovaUploaderTest, PostsABatchOfTheMessagesThatWait) {
  queues->enqueueMessage(enriched(1));
  uploader->sendAll();
  EXPECT_THAT(asked(), ElementsAre(batch(1)));
  const NSURLRequest& request = wire->open[0].request;
  EXPECT_THAT(request.allHTTPHeaderFields(),
              ElementsAre(HTTPHeaderField("Content-Type", "application/json"),
                          HTTPHeaderField("Content-Length", std::to_string(request.httpBody()->size()))));
  EXPECT_EQ(request.timeoutInterval(), 10.0);
  EXPECT_EQ(request.cachePolicy(), NSURLRequestCachePolicy::useProtocolCachePolicy);
  answered();
  EXPECT_THAT(device.log(), ElementsAre(kSentBatch));
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  EXPECT_EQ(stored("parts"), "[]");
}

TEST_F(KovaUploaderTest, GoesToTheCaptureEndpointWithoutABaseUrlAndNowhereWithAnUnusableOne) {
  enqueueUrls({"h?n=1"});
  enqueueBatches({1});
  uploaderTo("no URL")->sendAll();
  EXPECT_THAT(asked(), IsEmpty());
  uploaderTo(std::nullopt)->sendAll();
  EXPECT_THAT(asked(), ElementsAre(StartsWith("GET https://capture.kova.example/h?n=1&"),
                                   StartsWith("POST https://capture.kova.example" + kTrack + " ")));
}

TEST_F(KovaUploaderTest, TakesAnyAnswerForDeliveredAndTellsOfAnUnwelcomeOne) {
  const std::string tooLong = "h?" + std::string(NSURLRequest::kLongestURL, 'x');
  enqueueUrls({"h?n=1", tooLong.c_str()});
  enqueueBatches({1});
  uploader->sendAll();
  EXPECT_EQ(answered(404).size(), 3u);
  const std::string line = "[KOVA DEBUG]: The answer has status 404, and nothing is sent again: " + kService;
  EXPECT_THAT(device.log(),
              ElementsAre(line + "/h", line + kTrack, kSentBatch,
                          "[KOVA DEBUG]: A URL of 1048106 bytes is too long to be sent and is dropped: " +
                              kService + "/h",
                          kSentData));
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  reopen();
  EXPECT_EQ(waiting(), (Counts{0, 0, 0}));
}

TEST_F(KovaUploaderTest, PutsBackWhatFailedAndSendsItFirstInTheNextPass) {
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches({1, 2});
  uploader->requestScheduledUploads();
  EXPECT_THAT(asked(), ElementsAre(pixel(1), batch(1)));
  for (const auto& request : wire->takeOpen()) request.fail();
  device.advance(kInterval - 1);
  EXPECT_THAT(asked(), IsEmpty()) << "the chains have ended";
  const std::string lost =
      "[KOVA DEBUG]: Connection failed! Error - The network connection was lost. " + kService;
  EXPECT_THAT(device.log(), ElementsAre(lost + "/h?n=1&st=1767225600000", lost + kTrack));
  EXPECT_EQ(waiting(), (Counts{2, 0, 2}));
  device.advance(1);
  EXPECT_THAT(answered(), ElementsAre(pixel(1), batch(1, 15), pixel(2, 15), batch(2, 15)));
}

TEST_F(KovaUploaderTest, SendsEachKindOneAtATimeAndTheTwoSideBySide) {
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches({1, 2});
  // Both asked for before the first pass has begun.
  uploader->sendAll();
  uploader->sendAll();
  EXPECT_THAT(asked(), ElementsAre(pixel(1), batch(1)));
  EXPECT_THAT(device.log(), ElementsAre(kAlreadySending));
  answer(batch(1));
  answer(batch(2));
  queues->enqueueMessage(enriched(3));
  uploader->sendAll();
  EXPECT_THAT(asked(), ElementsAre(pixel(1)));
  EXPECT_EQ(waiting(), (Counts{1, 0, 1})) << "slow pixels keep no messages in memory";
  EXPECT_THAT(answered(), ElementsAre(pixel(1), pixel(2)));
  EXPECT_THAT(device.log(), ElementsAre(kAlreadySending, kSentBatch, kAlreadySending, kSentData));
  uploader->sendAll();
  EXPECT_THAT(answered(), ElementsAre(batch(3)));
}

TEST_F(KovaUploaderTest, SendsAtOnceInANewRhythmAndRestsWhileSuspended) {
  uploader->requestScheduledUploads();
  device.advance(10);
  enqueueUrls({"h?n=1"});
  uploader->setUploadInterval(2);
  EXPECT_THAT(answered(), ElementsAre(pixel(1, 10)));
  enqueueUrls({"h?n=2"});
  device.advance(1.9);
  EXPECT_THAT(asked(), IsEmpty());
  device.advance(0.1);
  EXPECT_THAT(answered(), ElementsAre(pixel(2, 12)));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);

  uploader->suspendScheduledUploads();
  enqueueUrls({"h?n=3"});
  device.advance(60);
  EXPECT_THAT(asked(), IsEmpty());
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
  uploader->requestScheduledUploads();
  EXPECT_THAT(answered(), ElementsAre(pixel(3, 72)));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
}

TEST_F(KovaUploaderTest, RestsWhenItIsSuspendedAsItsTimerFallsDue) {
  const auto busy = std::make_shared<BusyQueue>();
  const auto queue = std::make_shared<KISerialStateQueue>();
  queue->setUnderlyingQueue(busy);
  uploader = std::make_shared<KovaUploader>(kService.c_str(), queues, queue, wire);
  for (const bool isAhead : {true, false}) {  // of what the timer delivers
    uploader->requestScheduledUploads();
    busy->drain();
    enqueueUrls({"h?n=1"});
    if (isAhead) uploader->suspendScheduledUploads();
    std::exchange(busy->due, nullptr)();
    if (!isAhead) uploader->suspendScheduledUploads();
    busy->drain();
    EXPECT_THAT(asked(), IsEmpty());
    EXPECT_FALSE(busy->due);
    uploader->sendAll();
    busy->drain();
    answer(pixel(1));
    busy->drain();
  }
}

TEST_F(KovaUploaderTest, EndsWithTheRequestsInFlightOnceStopped) {
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches({1, 2});
  uploader->requestScheduledUploads();
  device.drain();
  uploader->stop();
  EXPECT_THAT(answered(), ElementsAre(pixel(1), batch(1)));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);

  uploader->requestScheduledUploads();
  uploader->setUploadInterval(1);
  device.advance(60);
  uploader->sendAll();
  EXPECT_THAT(asked(), IsEmpty());
  EXPECT_THAT(device.log(),
              ElementsAre(kSentData, kSentData,
                          "[KOVA DEBUG]: Called -[KovaUploader sendAll] after -[KovaUploader stop]"));
  reopen();
  EXPECT_EQ(waiting(), (Counts{1, 0, 1}));
}

TEST_F(KovaUploaderTest, ChangesNothingWithoutANetwork) {
  device.setOnline(false);
  UIApplication::setSharedApplication(nullptr);
  enqueueUrls({"h?n=1"});
  queues->enqueueMessage(enriched(1));
  uploader->requestScheduledUploads();
  device.advance(kInterval);
  EXPECT_EQ(waiting(), (Counts{1, 1, 0}));
  EXPECT_THAT(asked(), IsEmpty());
  const char* const caching =
      "[KOVA DEBUG]: Caching data locally, since no internet connection was detected.";
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("No application was started"), caching, caching));

  device.setOnline(true);
  device.advance(kInterval);
  EXPECT_THAT(answered(), ElementsAre(pixel(1, 30), batch(1, 30)));
}

TEST_F(KovaUploaderTest, LeavesNoTimerBehindButSettlesWhatIsInFlight) {
  enqueueUrls({"h?n=1"});
  uploader->requestScheduledUploads();
  EXPECT_THAT(asked(), ElementsAre(pixel(1)));
  const std::weak_ptr<KovaUploader> alive = uploader;
  uploader = nullptr;
  EXPECT_FALSE(alive.expired());
  for (const auto& request : wire->takeOpen()) request.fail();
  device.drain();
  EXPECT_TRUE(alive.expired());
  EXPECT_EQ(waiting(), (Counts{1, 0, 0}));
  device.drain();
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(KovaUploaderTest, SendsNothingOnceItsSessionIsGone) {
  enqueueUrls({"h?n=1"});
  enqueueBatches({1});
  std::make_shared<KovaUploader>(kService.c_str(), queues, KOVA_serialStateQueue(),
                                 std::make_shared<HeldURLSession>())
      ->sendAll();
  device.drain();
  EXPECT_EQ(waiting(), (Counts{1, 0, 1}));
}

}  // namespace
