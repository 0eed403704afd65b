#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLResponse.h"

namespace platform {

// The head of an HTTP answer: of the last one, when redirects were followed.
class NSHTTPURLResponse : public NSURLResponse {
 public:
  NSHTTPURLResponse(NSURL url, int statusCode, std::vector<HTTPHeaderField> headers)
      : NSURLResponse(std::move(url)), statusCode_(statusCode), headers_(std::move(headers)) {}

  int statusCode() const { return statusCode_; }
  // As they came, in order.
  const std::vector<HTTPHeaderField>& allHeaderFields() const { return headers_; }
  // Whatever the case of the name; null when there is none.
  const std::string* valueForHTTPHeaderField(std::string_view name) const {
    return findHTTPHeaderField(headers_, name);
  }

 private:
  int statusCode_;
  std::vector<HTTPHeaderField> headers_;
};

}  // namespace platform
