#pragma once

#include "platform/graphics/Image.h"
#include "platform/uikit/UIView.h"

namespace platform {

using UIImage = Image;

// A picture, fitted into the bounds with its proportions kept. Takes no touches unless told to.
class PLATFORM_EXPORT UIImageView : public UIView {
  NS_OBJECT(UIImageView, UIView)

 public:
  explicit UIImageView(CGRect frame = {});

  const std::shared_ptr<const UIImage>& image() const { return image_; }
  void setImage(std::shared_ptr<const UIImage> image);
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  std::shared_ptr<const UIImage> image_;
};

}  // namespace platform
