#pragma once

#include <memory>

#include "platform/foundation/String.h"
#include "platform/graphics/Image.h"

// Pictures as they are sent: PNG in Base64 without line breaks.
//
// The latest picture of the screen is kept, with what it came to, so that one that shows the same is not
// encoded again: most touches change nothing on the screen by the time of their picture. Nothing else is
// kept. Used by one thread at a time.
class KIPictureEncoder {
 public:
  platform::String encodedScreen(std::shared_ptr<const platform::Image> screen);
  platform::String encoded(const platform::Image& picture) const;

 private:
  bool isKept(const platform::Image& picture) const;

  std::shared_ptr<const platform::Image> screen_;  // null before the first
  platform::String encodedScreen_;
};
