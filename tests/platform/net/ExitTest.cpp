#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>

#include "tests/platform/net/ServerProcess.h"
#include "tests/platform/net/WebSocketFixture.h"

namespace {

using namespace platform;

// What the system trusts, which takes a connection tens of milliseconds to read.
constexpr const char* kSystemCertificates = "/etc/ssl/certs/ca-certificates.crt";
constexpr int kExits = 120;
constexpr int kSideBySide = 4;
constexpr std::chrono::microseconds kLatestMoment{80'000};
// For a machine under load.
constexpr std::chrono::seconds kLongestLife{10};

[[noreturn]] void exitWithTransfersInFlight(const ServerProcess& server, bool hostUsesOpenSSLFirst,
                                            std::chrono::microseconds moment) {
  if (hostUsesOpenSSLFirst) TestCertificate();
  NSURLSession session({.certificateAuthorityFile = server.certificates()});
  NSURLRequest upload(server.url());
  upload.setHTTPMethod("POST");
  upload.setHTTPBody(std::make_shared<const std::string>(16u << 20, 'e'));
  session.dataTask(server.url(), [](auto, auto, auto) {})->resume();
  session.dataTask(upload, [](auto, auto, auto) {})->resume();
  session.webSocketTask(NSURLRequest(server.url("wss")))->resume();
  std::promise<void> never;
  never.get_future().wait_for(moment);
  std::exit(0);
}

// Two requests and a WebSocket are somewhere between their beginning and their bytes when the host leaves.
TEST(ExitTest, AHostLeavesAtAnyMomentOfATLSTransfer) {
  const ServerProcess server;
  std::ofstream(server.certificates(), std::ios::app) << std::ifstream(kSystemCertificates).rdbuf();
  std::map<int, int> countOfStatus;
  for (int begun = 0; begun < kExits;) {
    const auto before = std::chrono::steady_clock::now();
    for (int i = 0; i < kSideBySide; ++i, ++begun) {
      const std::chrono::microseconds moment = kLatestMoment * begun / kExits;
      if (fork() == 0) exitWithTransfersInFlight(server, begun % 2 == 0, moment);
    }
    for (int i = 0; i < kSideBySide; ++i) {
      int status = 0;
      ASSERT_GT(wait(&status), 0);
      ++countOfStatus[status];
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, kLongestLife);
  }
  EXPECT_EQ(countOfStatus, (std::map<int, int>{{0, kExits}}));
}

// Uploads and large messages both ways are in the middle of their TLS streams when the host leaves, which has
// used OpenSSL before: by exit, in less than half a second, where waiting for a transfer would take far
// longer.
TEST(ExitDeathTest, ExitsAtOnceWithUploadsAndSocketsOpen) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static std::chrono::steady_clock::time_point began;
  EXPECT_EXIT(
      {
        // Registered first, so that it judges after everything that others do at exit.
        std::atexit([] {
          const auto passed = std::chrono::steady_clock::now() - began;
          std::_Exit(passed < std::chrono::milliseconds(500) ? 0 : 3);
        });
        const ServerProcess server;
        const TestCertificate& certificate = *new TestCertificate;
        std::optional<TrustingConfiguration> configuration(certificate);
        NSURLSession talking(*configuration);
        WebSocketServer& echo = *new WebSocketServer(WebSocketServer::echo, &certificate);
        std::vector<Socket> sockets;
        for (int i = 0; i < 4; ++i) {
          Socket& socket = sockets.emplace_back(talking, NSURLRequest(NSURL::create(echo.url()).value()));
          socket.task->resume();
          socket.sendText("x");
          socket.receive();
          socket.asksForMessage();
          socket.sends(Message::withData(std::string(64u << 20, 'e')));
        }
        configuration.reset();

        NSURLSession uploading({.certificateAuthorityFile = server.certificates()});
        NSURLRequest upload(server.url());
        upload.setHTTPMethod("POST");
        upload.setHTTPBody(std::make_shared<const std::string>(64u << 20, 'e'));
        for (int i = 0; i < 4; ++i) uploading.dataTask(upload)->resume();
        std::promise<void> answered;
        uploading.dataTask(server.url(), [&](auto, auto, auto) { answered.set_value(); })->resume();
        answered.get_future().wait();
        server.forgetCertificates();
        began = std::chrono::steady_clock::now();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
