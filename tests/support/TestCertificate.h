#pragma once

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

// A fresh self-signed certificate for 127.0.0.1 and its key. Trusted by nobody who is not handed its file.
class TestCertificate {
 public:
  TestCertificate() {
    X509* const made = certificate();
    X509_set_version(made, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
    X509_gmtime_adj(X509_getm_notBefore(made), -3600);
    X509_gmtime_adj(X509_getm_notAfter(made), 3600);
    X509_set_pubkey(made, key());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("loopback"), -1, -1, 0);
    X509_set_issuer_name(made, X509_get_subject_name(made));
    for (const auto& [kind, value] : {std::pair(NID_basic_constraints, "critical,CA:TRUE"),
                                      {NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost"}}) {
      X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
      X509_add_ext(made, extension, -1);
      X509_EXTENSION_free(extension);
    }
    if (X509_sign(made, key(), EVP_sha256()) == 0)
      throw std::runtime_error("The test certificate cannot be signed");
  }

  X509* certificate() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }
  // As PEM, for a client that is to trust it.
  void writeTo(const std::string& path) const {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    if (!file) throw std::runtime_error("The test certificate cannot be written");
    PEM_write_X509(file, certificate());
    std::fclose(file);
  }

 private:
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key_{EVP_EC_gen("P-256"), &EVP_PKEY_free};
  const std::unique_ptr<X509, void (*)(X509*)> certificate_{X509_new(), &X509_free};
};
