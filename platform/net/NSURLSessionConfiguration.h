#pragma once

#include <cstddef>
#include <string>

namespace platform {

// How a session behaves. A value that the session copies.
struct NSURLSessionConfiguration {
  // Connections are kept and shared with every other session of this kind.
  static NSURLSessionConfiguration defaultConfiguration() { return {}; }
  // Nothing outlives a request: no connection is kept, none of another session is used.
  static NSURLSessionConfiguration ephemeralConfiguration() {
    NSURLSessionConfiguration configuration;
    configuration.keepsConnections = false;
    return configuration;
  }

  bool keepsConnections = true;
  // Seconds that an answer may take as a whole, from its first byte, or from the last byte of the request
  // should that be later; the request's own timeout, if it is longer. Then it is NSURLErrorTimedOut.
  double timeoutIntervalForAnswer = 120;
  // Off for a caller that does not look at bodies: tasks complete with an empty one, nothing is kept, and a
  // body without end is read only as far as it leaves the connection useful.
  bool keepsResponseBodies = true;
  // Bytes of a decoded response body that is kept; a longer one is NSURLErrorDataLengthExceedsMaximum.
  std::size_t maximumResponseBodySize = 16u << 20;
  // Requests go through the proxy that the environment names (http_proxy, https_proxy, all_proxy, no_proxy);
  // sockets do not. Off, the environment is not asked.
  bool followsEnvironmentProxy = false;
  // A file of PEM certificates to trust in place of the system's. Empty: the system's.
  std::string certificateAuthorityFile;
};

}  // namespace platform
