#include <Kova/KovaBaseURL.h>

using namespace platform;

KovaBaseURL::KovaBaseURL(std::string_view text) : isGiven_(true), url_(NSURL::create(text)) {
  if (url_ && isAbsoluteWebURL(*url_)) return;
  url_.reset();
  unusableText_.emplace(text);
}

bool KovaBaseURL::isAbsoluteWebURL(const NSURL& url) {
  const auto& scheme = url.scheme();
  return (scheme == "http" || scheme == "https") && !url.host().value_or("").empty();
}
