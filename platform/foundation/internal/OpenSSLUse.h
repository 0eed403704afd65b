#pragma once

namespace platform {

// A use of OpenSSL, for as long as this lives: a step of a TLS connection. Whatever the platform does with
// OpenSSL on a thread that goes on while the process exits is inside one.
//
// OpenSSL is told not to take itself down when the process exits. Where the host was there before, or asks
// for it, OpenSSL does so all the same, and then waits, for five seconds at most, until the uses that are
// going on have ended; another thread that begins one from then on stays in the constructor. In a forked
// child nothing is in use.
//
// TLS is made ready by the first use, because it takes two megabytes.
//
// Any thread. Not to be nested.
class OpenSSLUse {
 public:
  // Tells OpenSSL so. Ahead of the first use, on a thread that the process does not leave behind when it
  // exits: the two must not happen at once.
  static void prepareForExit();

  OpenSSLUse();
  ~OpenSSLUse();
  OpenSSLUse(const OpenSSLUse&) = delete;
  OpenSSLUse& operator=(const OpenSSLUse&) = delete;
};

}  // namespace platform
