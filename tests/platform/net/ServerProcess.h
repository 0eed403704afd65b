#pragma once

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "platform/foundation/NSURL.h"
#include "tests/support/HttpServer.h"
#include "tests/support/TestCertificate.h"

// A TLS server in a process of its own, which ends with this one: this one's descriptors and its OpenSSL are
// its own. To be begun before there are threads: a child of a process with threads may begin none under the
// thread sanitizer.
class ServerProcess {
 public:
  ServerProcess() : certificates_(testing::TempDir() + "/server-" + std::to_string(getpid()) + ".pem") {
    int channel[2];
    EXPECT_EQ(pipe(channel), 0);
    if (fork() == 0) serve(channel[1]);
    close(channel[1]);  // a child that dies is an end of file, not a wait
    EXPECT_EQ(read(channel[0], &port_, sizeof port_), static_cast<ssize_t>(sizeof port_));
  }
  ~ServerProcess() { forgetCertificates(); }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  platform::NSURL url(const std::string& scheme = "https") const {
    return platform::NSURL::create(scheme + "://127.0.0.1:" + std::to_string(port_) + "/").value();
  }
  // A file with what the server is to be trusted by.
  const std::string& certificates() const { return certificates_; }
  void forgetCertificates() const { std::filesystem::remove(certificates_); }

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
