#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <string>

#include "platform/foundation/Text.h"
#include "platform/net/NSURLSession.h"
#include "tests/support/HttpServer.h"
#include "tests/support/TestCertificate.h"

namespace {

using namespace platform;

// What the system trusts, which takes a connection tens of milliseconds to read.
constexpr const char* kSystemCertificates = "/etc/ssl/certs/ca-certificates.crt";
constexpr int kExits = 120;
constexpr int kSideBySide = 4;
constexpr std::chrono::microseconds kLatestMoment{80'000};
// For a machine under load.
constexpr std::chrono::seconds kLongestLife{10};

// A server in a process of its own, which ends with this one, so that this one leaves OpenSSL untouched.
class ServerProcess {
 public:
  ServerProcess() : certificates_(testing::TempDir() + "/exit-" + std::to_string(getpid()) + ".pem") {
    int channel[2];
    EXPECT_EQ(pipe(channel), 0);
    if (fork() == 0) serve(channel[1]);
    EXPECT_EQ(read(channel[0], &port_, sizeof port_), static_cast<ssize_t>(sizeof port_));
    std::ofstream(certificates_, std::ios::app) << std::ifstream(kSystemCertificates).rdbuf();
  }
  ~ServerProcess() { std::filesystem::remove(certificates_); }

  NSURL url(const std::string& scheme) const {
    return NSURL::create(scheme + "://127.0.0.1:" + std::to_string(port_) + "/").value();
  }
  // The system's and the server's.
  const std::string& certificates() const { return certificates_; }

 private:
  [[noreturn]] void serve(int channel) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const TestCertificate certificate;
    certificate.writeTo(certificates_);
    HttpServer secure(certificate);
    const int port = secure.port();
    static_cast<void>(!write(channel, &port, sizeof port));
    while (true) pause();
  }

  const std::string certificates_;
  int port_ = 0;
};

[[noreturn]] void exitWithTransfersInFlight(const ServerProcess& server, bool hostUsesOpenSSLFirst,
                                            std::chrono::microseconds moment) {
  if (hostUsesOpenSSLFirst) TestCertificate();
  CC_MD5({});
  NSURLSessionConfiguration configuration;
  configuration.certificateAuthorityFile = server.certificates();
  NSURLSession session(configuration);
  NSURLRequest upload(server.url("https"));
  upload.setHTTPMethod("POST");
  upload.setHTTPBody(std::make_shared<const std::string>(16u << 20, 'e'));
  session.dataTask(server.url("https"), [](auto, auto, auto) {})->resume();
  session.dataTask(upload, [](auto, auto, auto) {})->resume();
  session.webSocketTask(NSURLRequest(server.url("wss")))->resume();
  std::promise<void> never;
  never.get_future().wait_for(moment);
  std::exit(0);
}

// Two requests and a WebSocket are somewhere between their beginning and their bytes when the host leaves.
TEST(ExitTest, AHostLeavesAtAnyMomentOfATLSTransfer) {
  const ServerProcess server;
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
