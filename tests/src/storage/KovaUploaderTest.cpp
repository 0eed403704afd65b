#include "src/storage/KovaUploader.h"

#include <filesystem>
#include <future>

#include "src/core/KovaLogger.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/storage/KovaSharedURLSession.h"
#include "tests/src/events/MessageFixture.h"

using namespace platform;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Lt;
using testing::SizeIs;

namespace {

constexpr const char* kBatchPath = "/api/integrations/ios/track";
constexpr double kInterval = 15;

// The platform's session, and the requests that were made of it.
class RecordedSession : public KOVAURLSessionProtocol {
 public:
  std::shared_ptr<NSURLSessionTask> dataTask(const NSURL& url, Completion completion) override {
    return dataTask(NSURLRequest(url), std::move(completion));
  }
  std::shared_ptr<NSURLSessionTask> dataTask(const NSURLRequest& request, Completion completion) override {
    requests.push_back(request);
    if (!isConnected) return nullptr;
    return KovaSharedURLSession::sharedSession()->dataTask(request, std::move(completion));
  }

  std::vector<NSURLRequest> requests;
  bool isConnected = true;
};

// Holds the answers of a server back until it is opened.
class Gate {
 public:
  HttpServer::Handler handler(HttpServer::Reply reply = HttpServer::Reply::text("")) {
    return [opened = opened_, reply](const HttpServer::Request&) {
      opened.wait_for(std::chrono::seconds(20));
      return reply;
    };
  }
  void open() { promise_.set_value(); }

 private:
  std::promise<void> promise_;
  std::shared_future<void> opened_ = promise_.get_future().share();
};

class KovaUploaderTest : public MessageTest {
 protected:
  KovaUploaderTest() {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    reopen();
  }

  // As after a restart.
  void reopen() {
    uploader = nullptr;
    queues = std::make_shared<KovaQueueManager>(
        std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment),
        KovaQueueManager::Limits{200, 300, 200});
    uploader = makeUploader(device.service.url());
  }
  std::shared_ptr<KovaUploader> makeUploader(const KovaBaseURL& baseUrl) const {
    return std::make_shared<KovaUploader>(baseUrl, queues, KOVA_serialStateQueue(), session);
  }

  void enqueueUrls(const std::vector<std::string>& urls) {
    for (const std::string& url : urls) queues->enqueueUrlString(url);
  }
  void enqueueBatches(int count) {
    for (int i = 0; i < count; ++i) {
      queues->enqueueMessage({{"n", i}, {"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}});
      queues->moveEnqueuedMessagesToBatchAndPersist();
    }
  }
  // Until the chains have ended, by their last lines.
  void runUntilLogged(std::string_view text, std::size_t count = 1) {
    device.runUntil([this, text, count] { return logged(text) >= count; });
  }
  std::size_t logged(std::string_view text) const { return device.logLinesWith(text).size(); }
  std::vector<std::string> pages() const { return device.receivedTargets("/h"); }

  const std::shared_ptr<RecordedSession> session = std::make_shared<RecordedSession>();
  std::shared_ptr<KovaQueueManager> queues;
  std::shared_ptr<KovaUploader> uploader;
};

TEST_F(KovaUploaderTest, SendsInOrderEveryFifteenSeconds) {
  enqueueUrls({"h?n=1", "h?n=2", "h?n=3"});
  uploader->requestScheduledUploads();
  runUntilLogged("[KOVA DEBUG]: Sent data to Kova!");
  EXPECT_THAT(pages(),
              ElementsAre("/h?n=1&st=1767225600000", "/h?n=2&st=1767225600000", "/h?n=3&st=1767225600000"));
  enqueueUrls({"h?n=4"});
  uploader->requestScheduledUploads();  // its rhythm runs
  device.advance(kInterval - 0.1);
  EXPECT_THAT(session->requests, SizeIs(3));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
  device.advance(0.1);
  runUntilLogged("Sent data to Kova!", 2);
  EXPECT_EQ(pages().back(), "/h?n=4&st=1767225615000");

  // A pass with nothing to send says nothing.
  device.advance(3 * kInterval);
  EXPECT_EQ(logged("Kova!"), 2u);
}

TEST_F(KovaUploaderTest, PostsABatchOfTheMessagesThatWait) {
  queues->enqueueMessage({{"name", "é"}, {"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}});
  uploader->sendAll();
  runUntilLogged("[KOVA DEBUG]: Sent message batch to Kova!");

  const HttpServer::Request received = device.service.lastRequest();
  EXPECT_EQ(received.method, "POST");
  EXPECT_EQ(received.target, kBatchPath);
  EXPECT_EQ(
      received.body,
      R"({"sentTime": "1767225600000", "messages": [{"name":"é","pageviewInfo":{},"sessionInfo":{}}]})");
  EXPECT_EQ(*received.header("Content-Type"), "application/json");
  EXPECT_EQ(*received.header("Content-Length"), std::to_string(received.body.size()));
  EXPECT_EQ(received.countOfHeader("Content-Length"), 1u);

  ASSERT_THAT(session->requests, SizeIs(1));
  EXPECT_EQ(session->requests[0].timeoutInterval(), 10.0);
  EXPECT_EQ(session->requests[0].cachePolicy(), NSURLRequestCachePolicy::useProtocolCachePolicy);
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  EXPECT_EQ(device.stored("parts"), Value(Array()));
}

TEST_F(KovaUploaderTest, GoesToTheCaptureEndpointWithoutABaseUrl) {
  session->isConnected = false;
  enqueueUrls({"h?n=1"});
  enqueueBatches(1);
  makeUploader(std::nullopt)->sendAll();
  device.drain();
  ASSERT_THAT(session->requests, SizeIs(2));
  EXPECT_EQ(session->requests[0].httpMethod(), "GET");
  EXPECT_EQ(session->requests[0].timeoutInterval(), NSURLRequest::kDefaultTimeoutInterval);
  for (const NSURLRequest& request : session->requests) EXPECT_EQ(request.url().scheme(), "https");
  EXPECT_EQ(session->requests[0].url().path(), "/h");
  EXPECT_EQ(session->requests[1].url().path(), kBatchPath);
}

TEST_F(KovaUploaderTest, TakesAnyAnswerForDelivered) {
  const auto answer = [](const HttpServer::Request&) { return HttpServer::Reply::text("no", 404); };
  device.service.handle("/h", answer);
  device.service.handle(kBatchPath, answer);
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches(2);
  uploader->sendAll();
  runUntilLogged("to Kova!", 2);
  const std::string line = "The answer has status 404, and nothing is sent again: ";
  EXPECT_EQ(logged(line + device.service.url("/h")), 2u);
  EXPECT_EQ(logged(line + device.service.url(kBatchPath)), 2u);
  EXPECT_THAT(device.log().back(), HasSubstr("to Kova!")) << "last, as ever";
  EXPECT_EQ(device.service.requestCount(), 4u);
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  reopen();
  EXPECT_EQ(queues->queuedUrlStringsCount() + queues->queuedMessageBatchesCount(), 0u);
}

TEST_F(KovaUploaderTest, AUrlThatIsTooLongBlocksNoOther) {
  const std::string text(NSURLRequest::kLongestURL, 'x');
  queues->enqueueUrlString(requests.addUserPropertiesUrlStringWithSanitizedUserProperties({{"note", text}}));
  EXPECT_THAT(device.log(), ElementsAre(AllOf(HasSubstr("too long to be sent: api/add_user_properties_v3"),
                                              SizeIs(Lt(200u)))));
  enqueueUrls({"h?n=2"});
  uploader->sendAll();
  runUntilLogged("Sent data to Kova!");
  EXPECT_THAT(pages(), SizeIs(1));
  EXPECT_EQ(
      logged("is too long to be sent and is dropped: " + device.service.url("/api/add_user_properties_v3")),
      1u);
  EXPECT_EQ(queues->queuedUrlStringsCount(), 0u);
}

TEST_F(KovaUploaderTest, SaysOnceThatMessagesWaitForAPageview) {
  const auto wait = [this] {
    queues->enqueueMessage({{"n", 1}});
    device.advance(4);
  };
  queues->enqueueMessage({{"n", 1}});
  device.advance(1);
  viewPages();
  queues->enqueueFirstPageviewUrlString("h?n=1", messages);
  device.advance(4);
  EXPECT_EQ(logged("wait for a pageview"), 0u);
  wait();
  wait();
  EXPECT_EQ(logged("wait for a pageview"), 1u);
}

TEST_F(KovaUploaderTest, PutsBackWhatFailedAndSendsItFirstInTheNextPass) {
  device.service.handle("/h", [](const HttpServer::Request&) { return HttpServer::Reply::reset(); });
  device.service.handle(kBatchPath, [](const HttpServer::Request&) {
    HttpServer::Reply reply = HttpServer::Reply::text("half of");
    reply.announcedLength = 100;
    reply.ending = HttpServer::Reply::Ending::reset;
    return reply;
  });
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches(2);
  uploader->requestScheduledUploads();
  runUntilLogged("Connection failed! Error - ", 2);
  EXPECT_EQ(logged("[KOVA DEBUG]: Connection failed! Error - The network connection was lost. " +
                   device.service.url("/h?n=1&st=1767225600000")),
            1u);
  // The chains have ended: nothing more before the next pass.
  device.advance(kInterval - 1);
  EXPECT_THAT(session->requests, SizeIs(2));
  EXPECT_EQ(queues->queuedUrlStringsCount(), 2u);
  EXPECT_THAT(device.batchFiles(), SizeIs(2));
  EXPECT_EQ(logged("to Kova!"), 0u);

  const auto well = [](const HttpServer::Request&) { return HttpServer::Reply::text(""); };
  device.service.handle("/h", well);
  device.service.handle(kBatchPath, well);
  device.advance(1);
  runUntilLogged("to Kova!", 2);
  const auto sent = pages();  // the transfer library may have tried the first one more often
  ASSERT_GE(sent.size(), 3u);
  EXPECT_EQ(sent[sent.size() - 2], "/h?n=1&st=1767225600000");
  EXPECT_EQ(sent.back(), "/h?n=2&st=1767225615000");
  EXPECT_THAT(device.batchFiles(), IsEmpty());
  const auto received = device.receivedMessages();
  ASSERT_THAT(received, SizeIs(3));
  EXPECT_EQ(*received[1].find("n"), Value(0));
  EXPECT_EQ(*received[2].find("n"), Value(1));
}

TEST_F(KovaUploaderTest, SendsEachKindOneAtATimeAndTheTwoSideBySide) {
  Gate gate;
  device.service.handle("/h", gate.handler());
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches(2);
  // Both asked for before the first pass has begun.
  uploader->sendAll();
  uploader->sendAll();
  device.drain();
  EXPECT_EQ(logged("[KOVA DEBUG]: Already sending data"), 1u);
  runUntilLogged("Sent message batch to Kova!");
  EXPECT_EQ(device.receivedBatches().size(), 2u);

  // The pixel chain alone is in flight.
  queues->enqueueMessage({{"n", 3}, {"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}});
  uploader->sendAll();
  device.drain();
  EXPECT_EQ(logged("Already sending data"), 2u);
  EXPECT_EQ(queues->queuedEventsCount(), 0u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u) << "pixels keep no messages in memory";
  EXPECT_THAT(session->requests, SizeIs(3));

  gate.open();
  runUntilLogged("Sent data to Kova!");
  EXPECT_THAT(pages(), SizeIs(2));
  uploader->sendAll();
  runUntilLogged("Sent message batch to Kova!", 2);
  EXPECT_EQ(device.receivedBatches().size(), 3u);
}

TEST_F(KovaUploaderTest, SendsAtOnceInANewRhythmAndRestsWhileSuspended) {
  uploader->requestScheduledUploads();
  device.advance(10);
  enqueueUrls({"h?n=1"});
  uploader->setUploadInterval(2);
  runUntilLogged("Sent data to Kova!");
  EXPECT_THAT(pages(), ElementsAre("/h?n=1&st=1767225610000"));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
  enqueueUrls({"h?n=2"});
  device.advance(1.9);
  EXPECT_THAT(session->requests, SizeIs(1));
  device.advance(0.1);
  runUntilLogged("Sent data to Kova!", 2);

  uploader->suspendScheduledUploads();
  enqueueUrls({"h?n=3"});
  device.advance(60);
  EXPECT_THAT(session->requests, SizeIs(2));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
  uploader->requestScheduledUploads();
  runUntilLogged("Sent data to Kova!", 3);
  device.advance(2);
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
}

TEST_F(KovaUploaderTest, EndsWithTheRequestsInFlightOnceStopped) {
  Gate gate;
  device.service.handle("/h", gate.handler());
  device.service.handle(kBatchPath, gate.handler());
  enqueueUrls({"h?n=1", "h?n=2"});
  enqueueBatches(2);
  uploader->requestScheduledUploads();
  device.drain();
  uploader->stop();
  gate.open();
  runUntilLogged("[KOVA DEBUG]: Sent data to Kova!", 2);
  EXPECT_THAT(session->requests, SizeIs(2));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
  EXPECT_THAT(device.batchFiles(), SizeIs(1));

  uploader->requestScheduledUploads();
  uploader->setUploadInterval(1);
  device.advance(60);
  EXPECT_EQ(logged("stop"), 0u);
  uploader->sendAll();
  device.drain();
  EXPECT_EQ(logged("[KOVA DEBUG]: Called -[KovaUploader sendAll] after -[KovaUploader stop]"), 1u);
  EXPECT_THAT(session->requests, SizeIs(2));
  reopen();
  EXPECT_EQ(queues->queuedUrlStringsCount(), 1u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);
}

TEST_F(KovaUploaderTest, ChangesNothingWithoutANetwork) {
  device.setOnline(false);
  enqueueUrls({"h?n=1"});
  queues->enqueueMessage({{"n", 1}, {"pageviewInfo", Dictionary()}, {"sessionInfo", Dictionary()}});
  uploader->requestScheduledUploads();
  device.drain();
  EXPECT_THAT(device.log(),
              ElementsAre("[KOVA DEBUG]: Caching data locally, since no internet connection was detected."));
  EXPECT_EQ(queues->queuedUrlStringsCount(), 1u);
  EXPECT_EQ(queues->queuedEventsCount(), 1u);
  EXPECT_THAT(session->requests, IsEmpty());

  // The rhythm goes on.
  device.setOnline(true);
  device.advance(kInterval);
  runUntilLogged("Sent data to Kova!");
  runUntilLogged("Sent message batch to Kova!");
}

TEST_F(KovaUploaderTest, TellsOnceThatNoApplicationWasStarted) {
  device.setOnline(false);
  UIApplication::setSharedApplication(nullptr);
  uploader->sendAll();
  uploader->sendAll();
  EXPECT_THAT(device.log(),
              ElementsAre(HasSubstr("No application was started"), HasSubstr("Caching data locally"),
                          HasSubstr("Caching data locally")));
}

TEST_F(KovaUploaderTest, LeavesNoTimerBehindButSettlesWhatIsInFlight) {
  Gate gate;
  device.service.handle("/h", gate.handler(HttpServer::Reply::reset()));
  enqueueUrls({"h?n=1"});
  uploader->requestScheduledUploads();
  device.drain();
  const std::weak_ptr<KovaUploader> alive = uploader;
  uploader = nullptr;
  EXPECT_FALSE(alive.expired());
  gate.open();
  runUntilLogged("Connection failed!");
  device.runUntil([&alive] { return alive.expired(); });
  EXPECT_EQ(queues->queuedUrlStringsCount(), 1u);
  device.drain();
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(KovaUploaderTest, SendsNothingOnceItsSessionIsGone) {
  enqueueUrls({"h?n=1"});
  enqueueBatches(1);
  const auto orphan = std::make_shared<KovaUploader>(device.service.url(), queues, KOVA_serialStateQueue(),
                                                     std::make_shared<RecordedSession>());
  orphan->sendAll();
  device.drain();
  EXPECT_EQ(queues->queuedUrlStringsCount(), 1u);
  EXPECT_EQ(queues->queuedMessageBatchesCount(), 1u);
}

}  // namespace
