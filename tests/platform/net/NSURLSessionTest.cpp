#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/platform/net/NetFixture.h"
#include "tests/support/TestCertificate.h"

namespace {

using namespace platform;
using Reply = HttpServer::Reply;
using Request = HttpServer::Request;
using testing::ElementsAre;

class NSURLSessionTest : public NetTest {
 protected:
  static std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
};

TEST_F(NSURLSessionTest, sendsWhatTheRequestSays) {
  NSURLRequest request = post(server.url("/api/track?x=1"), "{\"a\":1}");
  request.setValue("text/plain", "Content-Type");
  request.setValue("application/json", "content-type");
  request.setValue("7", "Content-Length");
  request.setValue("", "X-Empty");
  request.setValue("a\r\nX-Smuggled: 1", "X-Broken");
  server.handle("/api/track", [](const Request&) {
    Reply reply = Reply::text("accepted", 201);
    reply.headers = {{"X-Trace", " t1 "}};
    return reply;
  });

  const Outcome outcome = load(request);
  EXPECT_EQ(outcome.body(), "accepted");
  EXPECT_EQ(outcome.status(), 201);
  EXPECT_EQ(*outcome.response->valueForHTTPHeaderField("x-trace"), "t1");
  EXPECT_EQ(outcome.response->url(), request.url());
  EXPECT_FALSE(outcome.error);
  EXPECT_FALSE(outcome.onMainThread);

  const Request received = server.lastRequest();
  EXPECT_EQ(received.method + " " + received.target, "POST /api/track?x=1");
  EXPECT_EQ(received.body, "{\"a\":1}");
  EXPECT_EQ(*received.header("Content-Type"), "application/json");
  EXPECT_EQ(received.countOfHeader("Content-Length"), 1u);
  EXPECT_EQ(*received.header("X-Empty"), "");
  EXPECT_EQ(received.header("X-Smuggled"), nullptr);
  EXPECT_EQ(received.header("Expect"), nullptr);
  EXPECT_NE(received.header("Accept-Encoding"), nullptr);
}

TEST_F(NSURLSessionTest, startsOnlyWhenResumed) {
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

TEST_F(NSURLSessionTest, aChainUsesOneConnection) {
  for (int i = 0; i < 25; ++i) {
    EXPECT_EQ(load(get(server.url("/h?i=" + std::to_string(i)))).status(), 200);
    EXPECT_EQ(load(post(server.url("/batch"), std::string(400'000, 'e'))).status(), 200);
  }
  EXPECT_EQ(server.requestCount(), 50u);
  EXPECT_EQ(server.connectionCount(), 1u);
}

// The server may close a connection just when it is used again.
TEST_F(NSURLSessionTest, sendsAgainOnAConnectionThatWasClosed) {
  server.handle("/goodbye", [](const Request&) {
    Reply reply = Reply::text("ok");
    reply.ending = Reply::Ending::close;
    return reply;
  });
  for (int i = 0; i < 10; ++i) EXPECT_EQ(load(post(server.url("/goodbye"), "event")).body(), "ok");
  EXPECT_EQ(server.requestCount(), 10u);
}

TEST_F(NSURLSessionTest, sessionsOfOneRequestLeaveNothingBehind) {
  load(get(server.url()));
  ASSERT_TRUE(server.waitForOpenConnections(1));
  const std::size_t before = openDescriptors();
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

TEST_F(NSURLSessionTest, completesInTheOrderOfTheAnswersAndOffTheMainThread) {
  std::vector<int> order;
  std::promise<void> done;
  std::function<void(int)> next = [&](int i) {
    session
        .dataTask(get(server.url()),
                  [&, i](auto, auto, auto) {
                    EXPECT_FALSE(Scheduler::current().isMainThread());
                    order.push_back(i);
                    i < 5 ? next(i + 1) : done.set_value();
                  })
        ->resume();
  };
  next(1);
  done.get_future().wait();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(NSURLSessionTest, survivesACompletionThatThrows) {
  auto task =
      session.dataTask(get(server.url()), [](auto, auto, auto) { throw std::runtime_error("host's own"); });
  task->resume();
  session.dataTask(get(server.url()), [](auto, auto, auto) { throw 1; })->resume();
  EXPECT_EQ(load(get(server.url())).status(), 200);
  EXPECT_EQ(load(get(server.url())).status(), 200);
}

TEST_F(NSURLSessionTest, loadsLargeBodiesBothWays) {
  server.handle("/echo", [](const Request& request) { return Reply::text(request.body); });
  std::string body(8u << 20, ' ');
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 3);
  const Outcome outcome = load(post(server.url("/echo"), body));
  EXPECT_TRUE(outcome.data && *outcome.data == body);
}

TEST_F(NSURLSessionTest, followsRedirects) {
  for (const int status : {301, 302, 303, 307, 308}) {
    server.handle("/" + std::to_string(status), [=](const Request&) {
      return Reply::redirect(status, "/target?from=" + std::to_string(status));
    });
    const Outcome outcome = load(post(server.url("/" + std::to_string(status)), "body"));
    EXPECT_EQ(outcome.status(), 200);
    EXPECT_EQ(outcome.response->url().absoluteString(), server.url("/target?from=" + std::to_string(status)));
    const Request arrived = server.lastRequest();
    EXPECT_EQ(arrived.method + arrived.body, status < 307 ? "GET" : "POSTbody") << status;
  }
}

TEST_F(NSURLSessionTest, aSlowAnswerIsNoTimeoutWhileBytesCome) {
  server.handle("/slow", [](const Request&) {
    Reply reply = Reply::text(std::string(20, 'x'));
    reply.pieceSize = 5;
    reply.pause = std::chrono::milliseconds(60);
    return reply;
  });
  EXPECT_EQ(load(get(server.url("/slow"), 0.4)).body(), std::string(20, 'x'));
}

TEST_F(NSURLSessionTest, trustsTheCertificatesItIsGiven) {
  const TestCertificate certificate;
  HttpServer secure(certificate);
  const std::string file = testing::TempDir() + "/loopback-" + std::to_string(getpid()) + ".pem";
  certificate.writeTo(file);
  NSURLSessionConfiguration configuration;
  configuration.certificateAuthorityFile = file;
  NSURLSession trusting(configuration);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(start(trusting, post(secure.url(), "event")).outcome().status(), 200);
  }
  EXPECT_EQ(secure.connectionCount(), 1u);
  std::filesystem::remove(file);
}

// A server in a process of its own, which ends with this one.
std::string urlOfServerProcess(const TestCertificate& certificate) {
  int channel[2];
  EXPECT_EQ(pipe(channel), 0);
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    HttpServer secure(certificate);
    const int port = secure.port();
    static_cast<void>(!write(channel[1], &port, sizeof port));
    while (true) pause();
  }
  int port = 0;
  EXPECT_EQ(read(channel[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));
  return "https://127.0.0.1:" + std::to_string(port) + "/";
}

std::chrono::steady_clock::time_point exitBegan;

// Uploads are in the middle of their TLS streams when the host leaves, which has used OpenSSL before. Waiting
// for an upload would take far longer than the limit, which is generous for a machine under load.
TEST(NSURLSessionDeathTest, exitsAtOnceWithUploadsInFlight) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        // Registered first, so that it runs after everything that others do at exit.
        std::atexit([] {
          const auto passed = std::chrono::steady_clock::now() - exitBegan;
          std::_Exit(passed < std::chrono::milliseconds(500) ? 0 : 3);
        });
        const TestCertificate certificate;
        const NSURL url = NSURL::create(urlOfServerProcess(certificate)).value();
        NSURLSessionConfiguration configuration;
        configuration.certificateAuthorityFile =
            testing::TempDir() + "/exit-" + std::to_string(getpid()) + ".pem";
        certificate.writeTo(configuration.certificateAuthorityFile);
        NSURLSession session(configuration);
        NSURLRequest upload(url);
        upload.setHTTPMethod("POST");
        upload.setHTTPBody(std::make_shared<const std::string>(64u << 20, 'e'));
        for (int i = 0; i < 4; ++i) session.dataTask(upload)->resume();
        std::promise<void> answered;
        session.dataTask(url, [&](auto, auto, auto) { answered.set_value(); })->resume();
        answered.get_future().wait();
        std::filesystem::remove(configuration.certificateAuthorityFile);
        exitBegan = std::chrono::steady_clock::now();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
