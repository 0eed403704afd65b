#include "tests/support/TestCertificate.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace {

void addExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

}  // namespace

TestCertificate::TestCertificate() : key_(EVP_EC_gen("P-256")), certificate_(X509_new()) {
  X509* made = certificate_.get();
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
  X509_gmtime_adj(X509_getm_notBefore(made), -3600);
  X509_gmtime_adj(X509_getm_notAfter(made), 3600);
  X509_set_pubkey(made, key_.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("loopback"), -1, -1, 0);
  X509_set_issuer_name(made, X509_get_subject_name(made));
  addExtension(made, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(made, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
  if (X509_sign(made, key_.get(), EVP_sha256()) == 0)
    throw std::runtime_error("The test certificate cannot be signed");
}

void TestCertificate::writeTo(const std::string& path) const {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) throw std::runtime_error("The test certificate cannot be written");
  PEM_write_X509(file, certificate_.get());
  std::fclose(file);
}

void TestCertificate::Deleter::operator()(X509* certificate) const { X509_free(certificate); }
void TestCertificate::Deleter::operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
