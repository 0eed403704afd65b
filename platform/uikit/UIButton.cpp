#include "platform/uikit/UIButton.h"

#include <algorithm>

#include "platform/graphics/BitmapContext.h"

namespace platform {

namespace {

constexpr double kMargin = 12;
constexpr double kHeight = 34;
constexpr double kCornerRadius = 8;

}  // namespace

UIButton::UIButton(CGRect frame) : UIControl(frame), titleLabel_(std::make_shared<UILabel>()) {
  titleLabel_->setTextAlignment(TextAlignment::Center);
  titleLabel_->setFont(Font::systemFont(17, Font::Weight::Medium));
  setCornerRadius(kCornerRadius);
}

UIButton::~UIButton() = default;

void UIButton::setTitle(std::optional<String> title) {
  titleLabel_->setText(std::move(title));
  setNeedsDisplay();
}

void UIButton::setTitleColor(UIColor color) {
  titleColor_ = color;
  setNeedsDisplay();
}

std::optional<String> UIButton::accessibilityLabel() const {
  if (auto label = UIControl::accessibilityLabel()) return label;
  const auto label = titleLabel();
  return label ? label->text() : std::nullopt;
}

CGSize UIButton::sizeThatFits(CGSize) const {
  const CGSize title = titleLabel_->sizeThatFits({});
  return {title.width + 2 * kMargin, std::max(kHeight, title.height)};
}

bool UIButton::isFilled() const { return backgroundColor() && backgroundColor()->alpha > 0; }

UIColor UIButton::titleColor() const {
  const UIColor normal = titleColor_.value_or(isFilled() ? UIColor::white() : UIColor::systemBlue());
  if (isFilled()) return normal;
  if (!isEnabled()) return UIColor::placeholderText();
  return isHighlighted() ? normal.withAlpha(0.3) : normal;
}

void UIButton::drawRect(CGRect, BitmapContext& context) {
  if (isFilled() && isHighlighted()) {
    context.fillRoundedRect(bounds(), cornerRadius(), UIColor::black().withAlpha(0.2));
  } else if (isFilled() && !isEnabled()) {
    context.fillRoundedRect(bounds(), cornerRadius(), UIColor::white().withAlpha(0.5));
  }
  const auto title = titleLabel_->text();
  if (!title) return;
  TextStyle style = titleLabel_->textStyle();
  style.color = titleColor();
  context.drawText(*title, bounds(), style);
}

}  // namespace platform
