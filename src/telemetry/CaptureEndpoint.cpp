#include "src/telemetry/CaptureEndpoint.h"

namespace kova {

const platform::NSURL& defaultCaptureEndpoint() {
  static const auto& url =
      *new platform::NSURL(platform::NSURL::create("https://capture.kova.example/").value());
  return url;
}

std::optional<platform::NSURL> captureEndpoint(const KovaBaseURL& given) {
  if (given.unusableText()) return std::nullopt;
  const platform::NSURL& url = given.url().value_or(defaultCaptureEndpoint());
  return KovaBaseURL::isAbsoluteWebURL(url) ? std::optional(url) : std::nullopt;
}

}  // namespace kova
