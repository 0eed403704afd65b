#pragma once

#include "platform/foundation/NSURL.h"

namespace platform {

// One URL that the app was asked to open. A value.
class UIOpenURLContext {
 public:
  explicit UIOpenURLContext(NSURL url) : url_(std::move(url)) {}
  const NSURL& URL() const { return url_; }

 private:
  NSURL url_;
};

}  // namespace platform
