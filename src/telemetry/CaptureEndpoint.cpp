#include "src/telemetry/CaptureEndpoint.h"

#include <memory>
#include <utility>

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

platform::NSURLRequest postingJSON(platform::NSURLRequest request, std::string body) {
  request.setValue("application/json", "Content-Type");
  request.setValue(std::to_string(body.size()), "Content-Length");
  request.setHTTPMethod("POST");
  request.setHTTPBody(std::make_shared<const std::string>(std::move(body)));
  return request;
}

}  // namespace kova
