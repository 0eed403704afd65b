#include <sys/wait.h>

#include <fstream>
#include <future>
#include <map>

#include "platform/net/NSURLSession.h"
#include "tests/platform/net/ExitFixture.h"

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

}  // namespace
