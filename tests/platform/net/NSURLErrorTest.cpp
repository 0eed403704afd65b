#include "tests/platform/net/NetFixture.h"
#include "tests/support/DeadPort.h"

namespace {

using namespace platform;
using Reply = HttpServer::Reply;
using Ending = Reply::Ending;

const std::string kHead = "HTTP/1.1 200 OK\r\n";
const std::string kHalf = kHead + "Content-Length: 100\r\n\r\nhalf";

// How each failure of a request is told.
class NSURLErrorTest : public NetTest {
 protected:
  std::string answering(const std::string& bytes, Ending ending) {
    return NetTest::answering(Reply::rawBytes(bytes, ending));
  }
  using NetTest::answering;
  void expectError(const Outcome& outcome, int code, const std::string& url) {
    ASSERT_TRUE(outcome.error) << "no error, status " << outcome.status();
    EXPECT_EQ(outcome.error->domain() + std::to_string(outcome.code()),
              "NSURLErrorDomain" + std::to_string(code));
    const char* const said = code == -999    ? "cancelled"
                             : code == -1202 ? ".*pretending to be “127.0.0.1”.*"
                                             : ".*";
    EXPECT_THAT(outcome.error->localizedDescription(), testing::MatchesRegex(said));
    EXPECT_EQ(outcome.error->userInfo().find("NSErrorFailingURLStringKey")->text(), url);
    EXPECT_EQ(outcome.data, nullptr);
    EXPECT_FALSE(outcome.onMainThread);
  }
};

TEST_F(NSURLErrorTest, EveryFailureHasItsCode) {
  const DeadPort refusing(DeadPort::Kind::refuses), unanswered(DeadPort::Kind::neverAnswers);
  const std::string tlsWherePlain = "https://127.0.0.1:" + std::to_string(server.port()) + "/";
  const TestCertificate untrusted;
  HttpServer secure(untrusted);
  std::string longHead = kHead;
  for (int i = 0; i < 300; ++i) longHead += "X-" + std::to_string(i) + ": " + std::string(1000, 'f') + "\r\n";
  const std::pair<std::string, int> cases[] = {
      {refusing.url("http"), -1004},
      {unanswered.url("http"), -1001},
      {answering(Reply::stall()), -1001},
      {answering(kHalf, Ending::stall), -1001},
      {"http://" + std::string(64, 'a') + "/", -1003},
      {"ftp://127.0.0.1/x", -1002},
      {"kova-12345://1/launch-ev", -1002},
      {"file:///etc/hostname", -1002},
      {"h?a=1", -1002},
      {answering(Reply::reset()), -1005},
      {answering("", Ending::close), -1005},
      {answering("HTTP/1.1 200 O", Ending::reset), -1005},
      {answering(kHalf, Ending::reset), -1005},
      {answering(kHalf, Ending::close), -1005},
      {answering("nonsense\r\n\r\n", Ending::close), -1011},
      {answering(longHead + "\r\n", Ending::close), -1011},
      {answering(kHead + "Content-Encoding: gzip\r\nContent-Length: 4\r\n\r\nnot!", Ending::close), -1016},
      {answering(Reply::text(std::string(1001, 'x'))), -1103},
      {answering(kHead + "\r\n" + std::string(5000, 'x'), Ending::stall), -1103},
      {tlsWherePlain, -1200},
      {secure.url("/x"), -1202}};
  NSURLSession bounded({.maximumResponseBodySize = 1000, .certificateAuthorityFile = ""});
  for (const auto& [url, code] : cases) {
    SCOPED_TRACE(url);
    const auto before = std::chrono::steady_clock::now();
    expectError(start(bounded, get(url, code == -1001 ? 0.2 : 20)).outcome(), code, url);
    const auto passed = std::chrono::steady_clock::now() - before;
    EXPECT_LT(passed, std::chrono::seconds(5));
    EXPECT_GE(passed, std::chrono::milliseconds(code == -1001 ? 200 : 0));
  }
  EXPECT_EQ(secure.requestCount(), 0u);
  EXPECT_EQ(start(bounded, get(answering(Reply::text(std::string(1000, 'x'))))).outcome().body().size(),
            1000u);
  EXPECT_EQ(load(get(answering(kHalf, Ending::reset))).status(), 200) << "the head that came is handed on";
}

TEST_F(NSURLErrorTest, ARedirectMayNeitherLeadElsewhereNorBeEndless) {
  EXPECT_EQ(load(get(answering(Reply::redirect(302, "file:///etc/hostname")))).code(), -1002);
  const std::string url = answering(Reply::redirect(302, "/2"));
  expectError(load(get(url)), -1007, url);
  EXPECT_EQ(server.requestCount(), 1u + 17u);
}

TEST_F(NSURLErrorTest, WithoutANetworkAnUnknownHostIsNoWonder) {
  NetworkReachability::installFlagSource([](const NetworkReachability::Target&) { return 0; });
  const std::string url = "http://" + std::string(64, 'a') + "/";
  expectError(load(get(url)), -1009, url);
}

TEST_F(NSURLErrorTest, Cancels) {
  const DeadPort port(DeadPort::Kind::neverAnswers);
  Load early(session, get(server.url("/early"))), connecting = start(get(port.url("http")));
  early.task->cancel();
  connecting.task->cancel();
  expectError(early.outcome(), -999, server.url("/early"));
  expectError(connecting.outcome(), -999, port.url("http"));
  EXPECT_EQ(server.requestCount(), 0u);

  const std::string url = answering(kHalf, Ending::stall);
  Load transferring = start(get(url));
  ASSERT_TRUE(server.waitForRequests(1));
  transferring.task->cancel();
  transferring.task->cancel();
  expectError(transferring.outcome(), -999, url);
  EXPECT_TRUE(server.waitForOpenConnections(0));
  transferring.task->resume();
  EXPECT_EQ(load(get(server.url("/next"))).status(), 200);
}

}  // namespace
