#pragma once

#include <utility>

#include "platform/foundation/NSURL.h"

namespace platform {

// What a server answered, without the body. Immutable; may be read from any thread.
class NSURLResponse {
 public:
  explicit NSURLResponse(NSURL url) : url_(std::move(url)) {}
  virtual ~NSURLResponse() = default;

  // After redirects.
  const NSURL& url() const { return url_; }

 private:
  NSURL url_;
};

}  // namespace platform
