#include <cmath>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/CoveredViews.h"
#include "platform/uikit/UIView.h"

namespace platform {

void UIView::renderInContext(BitmapContext& context) {
  const BitmapContext::State state(context);
  const CGPoint origin = frame().origin;
  context.translate(-origin.x, -origin.y);
  drawInSuperview(context, CoveredViews::coverOf(*this));
}

bool UIView::drawViewHierarchyInRect(CGRect rect, bool afterScreenUpdates, BitmapContext& context) {
  if (afterScreenUpdates) layoutIfNeeded();
  const CGSize size = bounds().size;
  if (rect.size == size) {
    const BitmapContext::State state(context);
    context.translate(rect.origin.x, rect.origin.y);
    context.clip({{}, size});
    renderInContext(context);
    return true;
  }
  const double scale = context.scale();
  if (!Image::isPossible(std::ceil(size.width * scale), std::ceil(size.height * scale))) return false;
  BitmapContext sheet(size, scale);
  renderInContext(sheet);
  context.drawImage(*sheet.makeImage(), rect);
  return true;
}

void UIView::drawInSuperview(BitmapContext& context, ViewCover cover) {
  if (isHidden() || !(alpha() > 0)) return;
  const BitmapContext::TransparencyLayer layer(context, alpha());
  const CGPoint place = frame().origin;
  const CGRect contents = bounds();
  // Into the view's own coordinates.
  context.translate(place.x - contents.origin.x, place.y - contents.origin.y);
  if (clipsToBounds_) {
    context.clipRounded(contents, cornerRadius_);
    if (CGRectIsEmpty(context.clipBounds())) return;
  }
  if (cover == ViewCover::Whole)
    return context.fillRoundedRect(contents, cornerRadius_, CoveredViews::color());
  const bool isVisible = CGRectIntersectsRect(context.clipBounds(), contents);
  if (isVisible) drawContents(context);
  const Subviews below = isDrawnWhole() ? Subviews() : subviews();
  for (const auto& subview : below) {
    const bool isInsideCovered = cover == ViewCover::Inside;
    subview->drawInSuperview(context, isInsideCovered ? ViewCover::Whole : CoveredViews::coverOf(*subview));
  }
  if (isVisible && borderWidth_ > 0) {
    context.strokeRoundedRect(CGRectInset(contents, borderWidth_ / 2, borderWidth_ / 2),
                              cornerRadius_ - borderWidth_ / 2, borderColor_, borderWidth_);
  }
}

void UIView::drawContents(BitmapContext& context) {
  const CGRect contents = bounds();
  if (backgroundColor_) context.fillRoundedRect(contents, cornerRadius_, *backgroundColor_);
  const BitmapContext::State state(context);
  context.clip(contents);
  drawRect(contents, context);
}

}  // namespace platform
