#include "platform/uikit/UILabel.h"

#include <limits>

#include "platform/graphics/BitmapContext.h"

namespace platform {

UILabel::UILabel(CGRect frame) : UIView(frame) { setUserInteractionEnabled(false); }

void UILabel::setText(std::optional<String> text) {
  text_ = std::move(text);
  setNeedsDisplay();
}

std::optional<String> UILabel::accessibilityLabel() const {
  if (auto label = UIView::accessibilityLabel()) return label;
  return text();
}

void UILabel::setFont(UIFont font) {
  style_.font = font;
  setNeedsDisplay();
}

void UILabel::setTextColor(UIColor color) {
  style_.color = color;
  setNeedsDisplay();
}

void UILabel::setTextAlignment(TextAlignment alignment) {
  style_.alignment = alignment;
  setNeedsDisplay();
}

void UILabel::setNumberOfLines(int lines) {
  style_.numberOfLines = lines;
  setNeedsDisplay();
}

CGSize UILabel::sizeThatFits(CGSize size) const {
  const auto shown = text();
  if (!shown) return {};
  // A single line is as long as it is; a width of 0 is none that was asked for.
  const bool wraps = style_.numberOfLines != 1 && size.width > 0;
  const double width = wraps ? size.width : std::numeric_limits<double>::infinity();
  return sizeOfText(*shown, style_.font, width, style_.numberOfLines);
}

void UILabel::drawRect(CGRect, BitmapContext& context) {
  if (const auto shown = text()) context.drawText(*shown, bounds(), style_);
}

}  // namespace platform
