#pragma once

#include <openssl/types.h>

#include <memory>
#include <string>

// A fresh self-signed certificate for 127.0.0.1 and its key. Trusted by nobody who is not handed its file.
class TestCertificate {
 public:
  TestCertificate();

  X509* certificate() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }
  // As PEM, for a client that is to trust it.
  void writeTo(const std::string& path) const;

 private:
  struct Deleter {
    void operator()(X509* certificate) const;
    void operator()(EVP_PKEY* key) const;
  };
  std::unique_ptr<EVP_PKEY, Deleter> key_;
  std::unique_ptr<X509, Deleter> certificate_;
};
