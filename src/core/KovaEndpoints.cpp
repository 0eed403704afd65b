#include "src/core/KovaEndpoints.h"

namespace kova {

const platform::NSURL& defaultCaptureEndpoint() {
  static const auto& url =
      *new platform::NSURL(platform::NSURL::create("https://capture.kova.example/").value());
  return url;
}

}  // namespace kova
