#include "platform/uikit/UITableViewCell.h"

#include <algorithm>

#include "platform/graphics/BitmapContext.h"

namespace platform {

namespace {

constexpr double kMargin = 16;
constexpr double kGap = 8;
constexpr double kSeparatorHeight = 0.5;

void drawLabel(const UILabel& label, const CGRect& rect, BitmapContext& context) {
  if (const auto text = label.text()) context.drawText(*text, rect, label.textStyle());
}

}  // namespace

UITableViewCell::UITableViewCell(CGRect frame)
    : UIView(frame), textLabel_(std::make_shared<UILabel>()), detailTextLabel_(std::make_shared<UILabel>()) {
  setBackgroundColor(UIColor::systemBackground());
  detailTextLabel_->setTextColor(UIColor::secondaryLabel());
  detailTextLabel_->setTextAlignment(TextAlignment::Right);
}

UITableViewCell::~UITableViewCell() = default;

std::optional<String> UITableViewCell::accessibilityLabel() const {
  if (auto label = UIView::accessibilityLabel()) return label;
  const auto label = textLabel();
  return label ? label->text() : std::nullopt;
}

void UITableViewCell::drawRect(CGRect, BitmapContext& context) {
  const CGRect all = bounds();
  const double width = std::max(0.0, all.size.width - 2 * kMargin);
  const double left = all.origin.x + kMargin;

  // The detail takes the room that it needs, up to a half.
  const double detailWidth = std::min(detailTextLabel_->sizeThatFits({}).width, width / 2);
  const double textWidth = detailWidth > 0 ? width - detailWidth - kGap : width;
  drawLabel(*textLabel_, CGRectMake(left, all.origin.y, textWidth, all.size.height), context);
  drawLabel(*detailTextLabel_,
            CGRectMake(left + width - detailWidth, all.origin.y, detailWidth, all.size.height), context);

  context.fillRect(CGRectMake(left, CGRectGetMaxY(all) - kSeparatorHeight, width + kMargin, kSeparatorHeight),
                   UIColor::separator());
}

}  // namespace platform
