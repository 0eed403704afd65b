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
  // Bytes of a decoded response body; a longer one is NSURLErrorDataLengthExceedsMaximum.
  std::size_t maximumResponseBodySize = 16u << 20;
  // A file of PEM certificates to trust in place of the system's. Empty: the system's.
  std::string certificateAuthorityFile;
};

}  // namespace platform
