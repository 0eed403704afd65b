#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Kova/KovaExport.h"
#include "platform/foundation/NSURL.h"

// Where a host wants its data to go: nothing said, nil, a URL, or text that ought to be an absolute http or
// https URL. Nothing said and nil stand for the library's own endpoint. Text that is no such URL stands for
// no place at all, lest a slip of the pen send an app's users to a stranger; so does a null pointer to text,
// as an environment variable that is not set gives. A value.
class KOVA_EXPORT KovaBaseURL {
 public:
  // Nothing said.
  KovaBaseURL() = default;
  // Nil.
  KovaBaseURL(std::nullopt_t) : isGiven_(true) {}
  KovaBaseURL(std::nullptr_t) : isGiven_(true) {}
  KovaBaseURL(std::optional<platform::NSURL> url) : isGiven_(true), url_(std::move(url)) {}
  KovaBaseURL(platform::NSURL url) : isGiven_(true), url_(std::move(url)) {}
  KovaBaseURL(std::string_view text);
  KovaBaseURL(const std::string& text) : KovaBaseURL(std::string_view(text)) {}
  KovaBaseURL(const char* text) : KovaBaseURL(std::string_view(text ? text : "")) {}

  // None for nil, and for text that is no absolute http or https URL.
  const std::optional<platform::NSURL>& url() const { return url_; }
  // The text that is no such URL.
  const std::optional<std::string>& unusableText() const { return unusableText_; }
  bool isNil() const { return isGiven_ && !url_ && !unusableText_; }

  // http or https, and a host.
  static bool isAbsoluteWebURL(const platform::NSURL& url);

 private:
  bool isGiven_ = false;
  std::optional<platform::NSURL> url_;
  std::optional<std::string> unusableText_;
};
