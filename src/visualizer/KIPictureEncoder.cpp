#include "src/visualizer/KIPictureEncoder.h"

#include <cstring>
#include <utility>

#include "platform/foundation/Base64.h"

using namespace platform;

String KIPictureEncoder::encodedScreen(std::shared_ptr<const Image> screen) {
  if (!isKept(*screen)) {
    encodedScreen_ = encoded(*screen);
    screen_ = std::move(screen);
  }
  return encodedScreen_;
}

String KIPictureEncoder::encoded(const Image& picture) const {
  return isKept(picture) ? encodedScreen_ : base64EncodedString(picture.PNGRepresentation());
}

bool KIPictureEncoder::isKept(const Image& picture) const {
  return screen_ && screen_->width() == picture.width() && screen_->height() == picture.height() &&
         std::memcmp(screen_->pixels().data(), picture.pixels().data(), picture.pixels().size()) == 0;
}
