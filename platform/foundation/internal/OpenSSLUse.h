#pragma once

namespace platform {

// A use of OpenSSL, for as long as this lives: a digest, a step of a TLS connection. Whatever the platform
// does with OpenSSL on a thread that goes on while the process exits is inside one.
//
// The first use says that OpenSSL is not to take itself down when the process exits. Where the host was there
// before, or asks for it, OpenSSL does so all the same, and then waits, for five seconds at most, until the
// uses that are going on have ended; another thread that begins one from then on stays in the constructor. In
// a forked child nothing is in use.
//
// What TLS needs is made ready by its first use, because it takes two megabytes.
//
// Any thread. Not to be nested.
class OpenSSLUse {
 public:
  enum class Of { Digests, TLS };

  explicit OpenSSLUse(Of of = Of::Digests);
  ~OpenSSLUse();
  OpenSSLUse(const OpenSSLUse&) = delete;
  OpenSSLUse& operator=(const OpenSSLUse&) = delete;
};

}  // namespace platform
