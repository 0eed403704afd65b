#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/NSURL.h"

namespace platform {

// Kept with a request and handed on; responses are never cached here, so all policies act alike.
enum class NSURLRequestCachePolicy {
  useProtocolCachePolicy,
  reloadIgnoringLocalCacheData,
  returnCacheDataElseLoad,
  returnCacheDataDontLoad,
};

using HTTPHeaderField = std::pair<std::string, std::string>;

// What is asked of a server. A value, so that one class serves as the fixed and as the mutable request; the
// body is shared by copies and never changes.
class NSURLRequest {
 public:
  static constexpr double kDefaultTimeoutInterval = 60.0;
  // Bytes of a URL, about 1 MiB, beyond which a request without headers of its own cannot be sent.
  static constexpr std::size_t kLongestURL = (std::size_t{1} << 20) - 512;

  explicit NSURLRequest(NSURL url,
                        NSURLRequestCachePolicy cachePolicy = NSURLRequestCachePolicy::useProtocolCachePolicy,
                        double timeoutInterval = kDefaultTimeoutInterval)
      : url_(std::move(url)), cachePolicy_(cachePolicy), timeoutInterval_(timeoutInterval) {}

  const NSURL& url() const { return url_; }
  NSURLRequestCachePolicy cachePolicy() const { return cachePolicy_; }

  // Seconds without a byte in either direction after which the request fails; not the time of the whole
  // exchange.
  double timeoutInterval() const { return timeoutInterval_; }
  void setTimeoutInterval(double seconds) { timeoutInterval_ = seconds; }

  const std::string& httpMethod() const { return method_; }
  void setHTTPMethod(std::string method) { method_ = std::move(method); }

  // In the order in which they were first set. Names are compared without regard to case.
  const std::vector<HTTPHeaderField>& allHTTPHeaderFields() const { return headers_; }
  const std::string* valueForHTTPHeaderField(std::string_view name) const;
  void setValue(std::string value, std::string_view forHTTPHeaderField);

  // Whether URL and headers are longer than can be sent; the body does not matter. A session does not try,
  // and answers with status 414 itself.
  bool isTooLong() const;

  // Null for a request without a body.
  const std::shared_ptr<const std::string>& httpBody() const { return body_; }
  void setHTTPBody(std::shared_ptr<const std::string> body) { body_ = std::move(body); }

 private:
  NSURL url_;
  NSURLRequestCachePolicy cachePolicy_;
  double timeoutInterval_;
  std::string method_ = "GET";
  std::vector<HTTPHeaderField> headers_;
  std::shared_ptr<const std::string> body_;
};

// The value of the field of that name, whatever its case; null when there is none.
const std::string* findHTTPHeaderField(const std::vector<HTTPHeaderField>& fields, std::string_view name);

// Whether the text can be a method or the name of a field.
bool isHTTPToken(std::string_view text);
// Whether the field can be written into a request; a line break in it would end it and begin another.
bool isSendableHTTPHeaderField(const HTTPHeaderField& field);

}  // namespace platform
