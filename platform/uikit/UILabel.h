#pragma once

#include "platform/graphics/TextStyle.h"
#include "platform/uikit/UIView.h"

namespace platform {

using UIFont = Font;

// Text that is shown, of any length: no more of it is measured and drawn than the drawing layer bounds. Takes
// no touches.
class PLATFORM_EXPORT UILabel : public UIView {
  NS_OBJECT(UILabel, UIView)

 public:
  explicit UILabel(CGRect frame = {});
  explicit UILabel(String text) : UILabel(CGRect{}) { setText(std::move(text)); }

  virtual std::optional<String> text() const { return text_; }
  void setText(std::optional<String> text);
  // The text unless one was set.
  std::optional<String> accessibilityLabel() const override;

  const TextStyle& textStyle() const { return style_; }
  const UIFont& font() const { return style_.font; }
  void setFont(UIFont font);
  void setTextColor(UIColor color);
  void setTextAlignment(TextAlignment alignment);
  // 1 unless set; 0 for as many as fit.
  void setNumberOfLines(int lines);

  CGSize sizeThatFits(CGSize size) const override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  std::optional<String> text_;
  TextStyle style_;
};

}  // namespace platform
