#include "platform/uikit/UIImageView.h"

#include <algorithm>

#include "platform/graphics/BitmapContext.h"

namespace platform {

UIImageView::UIImageView(CGRect frame) : UIView(frame) { setUserInteractionEnabled(false); }

void UIImageView::setImage(std::shared_ptr<const UIImage> image) {
  image_ = std::move(image);
  setNeedsDisplay();
}

void UIImageView::drawRect(CGRect, BitmapContext& context) {
  if (!image_) return;
  const CGRect room = bounds();
  const CGSize whole = image_->size();
  const double factor = std::min(room.size.width / whole.width, room.size.height / whole.height);
  const CGSize fitted{whole.width * factor, whole.height * factor};
  context.drawImage(
      *image_, CGRectMake(CGRectGetMidX(room) - fitted.width / 2, CGRectGetMidY(room) - fitted.height / 2,
                          fitted.width, fitted.height));
}

}  // namespace platform
