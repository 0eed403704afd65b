#include "src/core/KovaEndpoints.h"

#include "src/core/KovaLogger.h"
#include "src/telemetry/CaptureEndpoint.h"

namespace kova {

const platform::NSURL& defaultEventVisualizerEndpoint() {
  static const auto& url =
      *new platform::NSURL(platform::NSURL::create("https://visualizer.kova.example/").value());
  return url;
}

std::optional<platform::NSURL> eventVisualizerEndpoint(const KovaBaseURL& given) {
  if (given.unusableText()) return std::nullopt;
  return given.url().value_or(defaultEventVisualizerEndpoint());
}

void logBaseURLs(const KovaOptions& options) {
  const KovaBaseURL& capture = options.givenCaptureBaseUrl();
  if (!captureEndpoint(capture)) {
    KovaLog("The capture base URL \"%@\" is not an absolute http or https URL; nothing will be sent.",
            capture.url() ? capture.url()->absoluteString() : *capture.unusableText());
  } else if (capture.isNil()) {
    KovaLogDebug("The capture base URL was set to nil; everything goes to %@",
                 defaultCaptureEndpoint().absoluteString());
  }
  const KovaBaseURL& visualizer = options.givenEventVisualizerWebSocketBaseUrl();
  if (!eventVisualizerEndpoint(visualizer)) {
    KovaLog("The Event Visualizer's base URL \"%@\" is not an absolute http or https URL; nothing will pair.",
            *visualizer.unusableText());
  } else if (visualizer.isNil()) {
    KovaLogDebug("The Event Visualizer's base URL was set to nil; pairing goes to %@",
                 defaultEventVisualizerEndpoint().absoluteString());
  }
}

}  // namespace kova
