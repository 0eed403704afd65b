#include "tests/platform/net/DeadPort.h"
#include "tests/platform/net/NetFixture.h"
#include "tests/support/TestCertificate.h"

namespace {

using namespace platform;
using Reply = HttpServer::Reply;
using Request = HttpServer::Request;

// How each failure of a request is told.
class NSURLErrorTest : public NetTest {
 protected:
  void expectError(const Outcome& outcome, int code, std::string_view description, const std::string& url) {
    ASSERT_TRUE(outcome.error) << "no error, status " << outcome.status();
    EXPECT_EQ(outcome.error->domain(), "NSURLErrorDomain");
    EXPECT_EQ(outcome.error->code(), code);
    EXPECT_EQ(outcome.error->localizedDescription(), description);
    EXPECT_EQ(outcome.error->userInfo().find("NSErrorFailingURLStringKey")->text(), url);
    EXPECT_EQ(outcome.data, nullptr);
    EXPECT_FALSE(outcome.onMainThread);
  }
  // The outcome of a request whose answer is these bytes.
  int codeOfAnswer(Reply reply) {
    server.handle("/lie", [reply](const Request&) { return reply; });
    return load(get(server.url("/lie"))).code();
  }
};

TEST_F(NSURLErrorTest, CannotConnect) {
  const DeadPort port(DeadPort::Kind::refuses);
  expectError(load(get(port.url("http"))), -1004, "Could not connect to the server.", port.url("http"));
}

TEST_F(NSURLErrorTest, TimesOut) {
  server.handle("/silent", [](const Request&) { return Reply::stall(); });
  server.handle("/half", [](const Request&) {
    return Reply::rawBytes("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Reply::Ending::stall);
  });
  const DeadPort port(DeadPort::Kind::neverAnswers);
  for (const std::string& url : {server.url("/silent"), server.url("/half"), port.url("http")}) {
    const auto before = std::chrono::steady_clock::now();
    expectError(load(get(url, 0.2)), -1001, "The request timed out.", url);
    const auto passed = std::chrono::steady_clock::now() - before;
    EXPECT_GE(passed, std::chrono::milliseconds(200));
    EXPECT_LT(passed, std::chrono::seconds(5));
  }
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST_F(NSURLErrorTest, UnknownHost) {
  const std::string url = "http://" + std::string(64, 'a') + "/";
  expectError(load(get(url)), -1003, "A server with the specified hostname could not be found.", url);
  NetworkReachability::installFlagSource([](const NetworkReachability::Target&) { return 0; });
  expectError(load(get(url)), -1009, "The Internet connection appears to be offline.", url);
}

TEST_F(NSURLErrorTest, RefusesOtherSchemes) {
  for (const std::string url :
       {"ftp://127.0.0.1/x", "kova-12345://1/launch-ev", "file:///etc/hostname", "h?a=1"}) {
    expectError(load(get(url)), -1002, "unsupported URL", url);
  }
  server.handle("/away", [](const Request&) { return Reply::redirect(302, "file:///etc/hostname"); });
  EXPECT_EQ(load(get(server.url("/away"))).code(), -1002);
}

TEST_F(NSURLErrorTest, EndlessRedirects) {
  server.handle("/loop", [](const Request&) { return Reply::redirect(302, "/loop"); });
  expectError(load(get(server.url("/loop"))), -1007, "too many HTTP redirects", server.url("/loop"));
  EXPECT_EQ(server.requestCount(), 17u);
}

TEST_F(NSURLErrorTest, BrokenAnswers) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
  EXPECT_EQ(codeOfAnswer(Reply::reset()), -1005);
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes("", Reply::Ending::close)), -1005);
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes("HTTP/1.1 200 O", Reply::Ending::reset)), -1005);
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes(head + "half", Reply::Ending::reset)), -1005);
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes(head + "half", Reply::Ending::close)), -1005);
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes("nonsense\r\n\r\n", Reply::Ending::close)), -1011);
  std::string headers = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 300; ++i) headers += "X-" + std::to_string(i) + ": " + std::string(1000, 'f') + "\r\n";
  EXPECT_EQ(codeOfAnswer(Reply::rawBytes(headers + "\r\n", Reply::Ending::close)), -1011);
  EXPECT_EQ(codeOfAnswer(
                Reply::rawBytes("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\nnot!",
                                Reply::Ending::close)),
            -1016);
  // The head that came is handed on, and the next request is served.
  server.handle("/cut", [&](const Request&) { return Reply::rawBytes(head, Reply::Ending::reset); });
  EXPECT_EQ(load(get(server.url("/cut"))).status(), 200);
  EXPECT_EQ(load(get(server.url("/fine"))).code(), 0);
}

TEST_F(NSURLErrorTest, BoundsTheBody) {
  NSURLSessionConfiguration configuration;
  configuration.maximumResponseBodySize = 1000;
  NSURLSession bounded(configuration);
  server.handle("/fits", [](const Request&) { return Reply::text(std::string(1000, 'x')); });
  server.handle("/announced", [](const Request&) { return Reply::text(std::string(1001, 'x')); });
  server.handle("/endless", [](const Request&) {
    return Reply::rawBytes("HTTP/1.1 200 OK\r\n\r\n" + std::string(5000, 'x'), Reply::Ending::stall);
  });
  EXPECT_EQ(start(bounded, get(server.url("/fits"))).outcome().body().size(), 1000u);
  expectError(start(bounded, get(server.url("/announced"))).outcome(), -1103, "resource exceeds maximum size",
              server.url("/announced"));
  EXPECT_EQ(start(bounded, get(server.url("/endless"))).outcome().code(), -1103);
}

TEST_F(NSURLErrorTest, VerifiesCertificates) {
  const TestCertificate certificate;
  HttpServer secure(certificate);
  const Outcome untrusted = load(get(secure.url("/x")));
  EXPECT_EQ(untrusted.code(), -1202);
  EXPECT_THAT(untrusted.error->localizedDescription(), testing::HasSubstr("pretending to be “127.0.0.1”"));
  EXPECT_EQ(secure.requestCount(), 0u);

  server.handle("/x", [](const Request&) { return Reply::text("plain"); });
  const std::string url = "https://127.0.0.1:" + std::to_string(server.port()) + "/x";
  expectError(load(get(url, 5)), -1200,
              "An SSL error has occurred and a secure connection to the server cannot be made.", url);
}

TEST_F(NSURLErrorTest, Cancels) {
  Load early(session, get(server.url("/early")));
  early.task->cancel();
  expectError(early.outcome(), -999, "cancelled", server.url("/early"));
  EXPECT_EQ(server.requestCount(), 0u);

  const DeadPort port(DeadPort::Kind::neverAnswers);
  Load connecting = start(get(port.url("http")));
  connecting.task->cancel();
  expectError(connecting.outcome(), -999, "cancelled", port.url("http"));

  server.handle("/half", [](const Request&) {
    return Reply::rawBytes("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Reply::Ending::stall);
  });
  Load transferring = start(get(server.url("/half")));
  ASSERT_TRUE(server.waitForRequests(1));
  transferring.task->cancel();
  transferring.task->cancel();
  expectError(transferring.outcome(), -999, "cancelled", server.url("/half"));
  EXPECT_TRUE(server.waitForOpenConnections(0));
  transferring.task->resume();
  EXPECT_EQ(load(get(server.url("/next"))).status(), 200);
}

}  // namespace
