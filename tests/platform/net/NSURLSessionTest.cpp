#include <atomic>
#include <chrono>
#include <filesystem>

#include "platform/dispatch/DispatchQueue.h"
#include "tests/platform/net/NetFixture.h"
#include "tests/platform/net/ServerProcess.h"
#include "tests/support/ResourceLimit.h"

namespace {

using namespace platform;
using Reply = HttpServer::Reply;
using Request = HttpServer::Request;

using NSURLSessionTest = NetTest;

TEST_F(NSURLSessionTest, SendsWhatTheRequestSays) {
  Reply reply = Reply::text("accepted", 201);
  reply.headers = {{"X-Trace", " t1 "}};
  NSURLRequest request = post(answering(reply) + "?x=1", "{\"a\":1}");
  request.setValue("text/plain", "Content-Type");
  request.setValue("application/json", "content-type");
  request.setValue("7", "Content-Length");
  request.setValue("", "X-Empty");
  request.setValue("a\r\nX-Smuggled: 1", "X-Broken");
  const Outcome outcome = load(request);
  EXPECT_EQ(outcome.body(), "accepted");
  EXPECT_EQ(outcome.status(), 201);
  EXPECT_EQ(*outcome.response->valueForHTTPHeaderField("x-trace"), "t1");
  EXPECT_EQ(outcome.response->url(), request.url());
  EXPECT_FALSE(outcome.error);
  EXPECT_FALSE(outcome.onMainThread);

  const Request received = server.lastRequest();
  EXPECT_EQ(received.method + " " + received.target, "POST /1?x=1");
  EXPECT_EQ(received.body, "{\"a\":1}");
  EXPECT_EQ(*received.header("Content-Type"), "application/json");
  EXPECT_EQ(received.countOfHeader("Content-Length"), 1u);
  EXPECT_EQ(*received.header("X-Empty"), "");
  EXPECT_EQ(received.header("X-Smuggled"), nullptr);
  EXPECT_EQ(received.header("Expect"), nullptr);
  EXPECT_NE(received.header("Accept-Encoding"), nullptr);
}

TEST_F(NSURLSessionTest, StartsOnlyWhenResumed) {
  bool called = false;
  session.dataTask(get(server.url("/never")), [&](auto, auto, auto) { called = true; }).reset();
  Load waiting(session, get(server.url("/once")));
  EXPECT_EQ(waiting.task->state(), NSURLSessionTask::State::suspended);
  waiting.task->resume();
  waiting.task->resume();
  EXPECT_EQ(waiting.outcome().status(), 200);
  EXPECT_EQ(waiting.task->state(), NSURLSessionTask::State::completed);
  waiting.task->cancel();
  EXPECT_EQ(waiting.task->state(), NSURLSessionTask::State::completed);
  load(get(server.url("/last")));
  EXPECT_EQ(server.requestCount(), 2u);
  EXPECT_FALSE(called);
}

TEST_F(NSURLSessionTest, AChainUsesOneConnectionAlsoWithLargeBodiesBothWays) {
  server.handle("/echo", [](const Request& request) { return Reply::text(request.body); });
  std::string body(2u << 20, ' ');
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 3);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(load(get(server.url("/h?i=" + std::to_string(i)))).status(), 200);
    EXPECT_TRUE(load(post(server.url("/echo"), body)).body() == body);
  }
  EXPECT_EQ(server.requestCount(), 20u);
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(NSURLSessionTest, SessionsOfOneRequestLeaveNothingBehind) {
  const auto openDescriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  load(get(server.url()));
  ASSERT_TRUE(server.waitForOpenConnections(1));
  const auto before = openDescriptors();
  for (int i = 0; i < 1000; ++i) {
    std::optional<Load> report;
    {
      NSURLSession once(NSURLSessionConfiguration::ephemeralConfiguration());
      report.emplace(start(once, post(server.url("/report"), "{}")));
    }
    ASSERT_EQ(report->outcome().status(), 200);
  }
  EXPECT_TRUE(server.waitForOpenConnections(1));
  EXPECT_EQ(server.connectionCount(), 1001u);
  EXPECT_LE(openDescriptors(), before);
}

TEST_F(NSURLSessionTest, ACompletionMayStartTheNextOrThrow) {
  std::promise<void> done;
  const auto last = [&](auto, auto, auto) { done.set_value(), throw 1; };
  const auto first = [&](auto, auto, auto) {
    session.dataTask(get(server.url()), last)->resume();
    throw std::runtime_error("host's own");
  };
  session.dataTask(get(server.url()), first)->resume();
  done.get_future().wait();
  EXPECT_EQ(load(get(server.url())).status(), 200);
}

TEST_F(NSURLSessionTest, FollowsRedirects) {
  for (const int status : {301, 302, 303, 307, 308}) {
    const Outcome outcome = load(post(answering(Reply::redirect(status, "/target?x")), "body"));
    EXPECT_EQ(outcome.status(), 200);
    EXPECT_EQ(outcome.response->url().absoluteString(), server.url("/target?x"));
    const Request arrived = server.lastRequest();
    EXPECT_EQ(arrived.method + arrived.body, status < 307 ? "GET" : "POSTbody") << status;
  }
}

TEST_F(NSURLSessionTest, ASlowAnswerIsNoTimeoutWhileBytesCome) {
  Reply slow = Reply::text(std::string(20, 'x'));
  slow.pieceSize = 5;
  slow.pause = std::chrono::milliseconds(60);
  EXPECT_EQ(load(get(answering(slow), 0.4)).body(), slow.body);
}

// A server that reads a request as slowly as it likes, and never ends its answer.
TEST_F(NSURLSessionTest, AnAnswerMayNotTakeForEverButAnUploadThatMovesMay) {
  std::promise<void> never;
  const auto pause = [hour = never.get_future().share()] { hour.wait_for(std::chrono::milliseconds(20)); };
  std::atomic<bool> readAll = false;
  LoopbackListener dripping;
  dripping.begin([&](ServerConnection& connection) {
    constexpr std::size_t kPiece = 1u << 20;
    for (int i = 0; i < 40 && connection.read(kPiece); ++i) pause();
    readAll = connection.read(kPiece).has_value();
    bool isHeard = connection.write("HTTP/1.1 200 OK\r\n");
    while (isHeard) {
      isHeard = connection.write("X: 1\r\n");
      pause();
    }
  });
  NSURLSession impatient({.timeoutIntervalForAnswer = 0.3, .certificateAuthorityFile = ""});
  const Outcome outcome =
      start(impatient, post(dripping.url("/"), std::string(41u << 20, 'e'), 0.2)).outcome();
  EXPECT_TRUE(readAll) << "40 pauses are longer than either limit";
  EXPECT_EQ(outcome.code(), NSURLErrorTimedOut);
}

TEST_F(NSURLSessionTest, BodiesThatNobodyReadsAreNotKept) {
  NSURLSession careless({.keepsResponseBodies = false, .certificateAuthorityFile = ""});
  const struct {
    std::size_t size, announced;
    int code;
  } cases[] = {{64u << 10, 64u << 10, 0},
               {8u << 20, std::size_t{1} << 40, 0},  // enough has been read
               {64u << 10, 128u << 10, NSURLErrorNetworkConnectionLost}};
  for (const auto& [size, announced, code] : cases) {
    Reply reply = Reply::text(std::string(size, 'b'), 503);
    reply.announcedLength = announced;
    if (announced != size) reply.ending = Reply::Ending::close;
    const Outcome outcome = start(careless, get(answering(reply))).outcome();
    EXPECT_EQ(outcome.code(), code) << size;
    EXPECT_EQ(outcome.status(), 503) << size;
    EXPECT_EQ(outcome.body(), code == 0 ? "" : "(no data)") << size;
  }
}

TEST_F(NSURLSessionTest, AnswersARequestThatIsTooLongItself) {
  const struct {
    std::size_t length;
    int status;
  } cases[] = {{NSURLRequest::kLongestURL, 200}, {NSURLRequest::kLongestURL + 1, 414}, {9u << 20, 414}};
  for (const auto& [length, status] : cases) {
    std::string url = server.url("/h?");
    url.append(length - url.size(), 'x');
    const Outcome outcome = load(get(url));
    EXPECT_EQ(outcome.status(), status) << length;
    EXPECT_FALSE(outcome.error) << length;
  }
  NSURLRequest request = get(server.url("/h"));
  request.setValue(std::string(1u << 20, 'x'), "X-Long");
  EXPECT_EQ(load(request).status(), 414);
  EXPECT_EQ(server.requestCount(), 1u);
}

TEST_F(NSURLSessionTest, FollowsTheProxyOfTheEnvironmentOnlyWhenTold) {
  HttpServer proxy;
  setenv("http_proxy", proxy.url().c_str(), 1);
  setenv("ALL_PROXY", proxy.url().c_str(), 1);
  EXPECT_EQ(load(get(server.url("/direct"))).status(), 200);
  EXPECT_EQ(proxy.requestCount(), 0u);

  NSURLSession following({.followsEnvironmentProxy = true, .certificateAuthorityFile = ""});
  EXPECT_EQ(start(following, get(server.url("/through"))).outcome().status(), 200);
  EXPECT_EQ(proxy.lastRequest().target, server.url("/through"));
  EXPECT_EQ(server.requestCount(), 1u);
}

class FirstLoadTest : public ServerProcess, public NetTest {};

// The first loads of the process, with which its transfer thread begins. The server has descriptors of its
// own.
TEST_F(FirstLoadTest, GoesOnWhenDescriptorsWereShort) {
  NSURLSession trusting({.certificateAuthorityFile = certificates()});
  const auto status = [&] { return start(trusting, NSURLRequest(url())).outcome().status(); };
  for (const rlim_t more : {0, 1}) {
    const auto few = ResourceLimit::descriptors(more);
    EXPECT_NE(status(), 200) << more;
  }
  EXPECT_EQ(status(), 200);
}

// Holds the transfer thread with its first work until it is opened, and throws in place of its second.
class FaultyQueue : public DispatchQueue {
 public:
  FaultyQueue() : DispatchQueue("faulty", QualityOfService::Utility) {}
  void async(Work work) override {
    const int call = ++calls_;
    if (call == 1) opened_.get_future().wait();
    if (call == 2) throw std::runtime_error("no memory");
    work();
  }
  void open() { opened_.set_value(); }

  std::shared_ptr<DispatchTimer> after(double, Work) override { return nullptr; }
  void waitUntilIdle() override {}
  void waitForQueued() override {}
  bool isCurrent() const override { return false; }

 private:
  std::promise<void> opened_;
  std::atomic<int> calls_ = 0;
};

TEST_F(NSURLSessionTest, ARoundThatThrowsFailsItsTasks) {
  const auto queue = std::make_shared<FaultyQueue>();
  std::promise<int> answered;
  const auto start = [&](NSURLSessionDataTask::Completion completion) {
    std::make_shared<NSURLSessionDataTask>(get("ftp://nowhere/"),
                                           std::make_shared<const NSURLSessionConfiguration>(), queue,
                                           std::move(completion))
        ->resume();
  };
  start([](auto, auto, auto) {});
  start([&](auto, auto, const std::optional<NSError>& error) { answered.set_value(error->code()); });
  Load next = NetTest::start(get(server.url("/next")));
  queue->open();
  EXPECT_EQ(next.outcome().status(), 200);
  EXPECT_EQ(answered.get_future().get(), NSURLErrorUnknown);
}

TEST_F(NSURLSessionTest, TrustsTheCertificatesItIsGiven) {
  const TestCertificate certificate;
  HttpServer secure(certificate);
  TrustingConfiguration configuration(certificate);
  NSURLSession trusting(configuration);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(start(trusting, post(secure.url(), "event")).outcome().status(), 200);
  }
  EXPECT_EQ(secure.connectionCount(), 1u);

  // A long URL does not fit into a frame of HTTP/2, which is not offered for it.
  configuration.keepsConnections = false;
  NSURLSession fresh(configuration);
  for (const std::size_t length : {100u, 70u << 10, 1'000'000u}) {
    const std::string target = "/h?" + std::string(length, 'x');
    EXPECT_EQ(start(fresh, get(secure.url(target))).outcome().status(), 200) << length;
    EXPECT_EQ(secure.lastRequest().target.size(), target.size());
    EXPECT_EQ(secure.wasOfferedHTTP2(), length == 100) << length;
  }
}

}  // namespace
