#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/net/NSURLSessionConfiguration.h"
#include "tests/support/TestCertificate.h"

// Of sessions that trust the certificate and no other, from a file that is gone with this.
struct TrustingConfiguration : platform::NSURLSessionConfiguration {
  explicit TrustingConfiguration(const TestCertificate& certificate) {
    certificateAuthorityFile = testing::TempDir() + "/trusted-" + std::to_string(getpid()) + ".pem";
    certificate.writeTo(certificateAuthorityFile);
  }
  ~TrustingConfiguration() { std::filesystem::remove(certificateAuthorityFile); }
  TrustingConfiguration(const TrustingConfiguration&) = delete;
  TrustingConfiguration& operator=(const TrustingConfiguration&) = delete;
};
