#include "src/core/KovaEndpoints.h"

#include "src/core/KovaLogger.h"

namespace kova {

const platform::NSURL& defaultCaptureEndpoint() {
  static const auto& url =
      *new platform::NSURL(platform::NSURL::create("https://capture.kova.example/").value());
  return url;
}

const platform::NSURL& defaultEventVisualizerEndpoint() {
  static const auto& url =
      *new platform::NSURL(platform::NSURL::create("https://visualizer.kova.example/").value());
  return url;
}

std::optional<platform::NSURL> captureEndpoint(const std::optional<platform::NSURL>& captureBaseUrl) {
  if (!captureBaseUrl) return defaultCaptureEndpoint();
  const auto& scheme = captureBaseUrl->scheme();
  const bool isHTTP = scheme == "http" || scheme == "https";
  if (isHTTP && !captureBaseUrl->host().value_or("").empty()) return captureBaseUrl;
  KovaLog("The capture base URL %@ is not an absolute http or https URL; nothing will be sent.",
          captureBaseUrl->absoluteString());
  return std::nullopt;
}

}  // namespace kova
