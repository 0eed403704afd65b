#include "platform/uikit/UIView.h"

namespace platform {

namespace {

// Below this a view is as good as not there for a finger.
constexpr double kLeastTouchableAlpha = 0.01;

// Where the point 0, 0 of the view's coordinates lies in those of the topmost view.
CGPoint originInTopmost(const UIView& view) {
  CGPoint origin;
  const UIView* each = &view;
  while (const UIView* above = each->superview()) {
    const CGPoint place = each->frame().origin;
    const CGPoint scrolled = each->bounds().origin;
    origin = {origin.x + place.x - scrolled.x, origin.y + place.y - scrolled.y};
    each = above;
  }
  return origin;
}

}  // namespace

void UIView::setFrame(CGRect frame) {
  if (frame_ == frame) return;
  setNeedsDisplay();
  if (frame_.size != frame.size) setNeedsLayout();
  frame_ = frame;
}

void UIView::setBoundsOrigin(CGPoint origin) {
  if (boundsOrigin_ == origin) return;
  boundsOrigin_ = origin;
  setNeedsDisplay();
}

CGPoint UIView::convertPointToView(CGPoint point, const UIView* view) const {
  const CGPoint from = originInTopmost(*this);
  const CGPoint to = view ? originInTopmost(*view) : CGPoint{};
  return {point.x + from.x - to.x, point.y + from.y - to.y};
}

CGPoint UIView::convertPointFromView(CGPoint point, const UIView* view) const {
  if (view) return view->convertPointToView(point, this);
  const CGPoint to = originInTopmost(*this);
  return {point.x - to.x, point.y - to.y};
}

CGRect UIView::convertRectToView(CGRect rect, const UIView* view) const {
  return {convertPointToView(rect.origin, view), rect.size};
}

CGSize UIView::sizeThatFits(CGSize /*size*/) const { return frame().size; }

bool UIView::pointInside(CGPoint point, UIEvent* /*event*/) const {
  return CGRectContainsPoint(bounds(), point);
}

UIView* UIView::hitTest(CGPoint point, UIEvent* event) {
  if (isHidden() || !(alpha() >= kLeastTouchableAlpha) || !isUserInteractionEnabled()) return nullptr;
  if (!pointInside(point, event)) return nullptr;
  const Subviews below = subviews();
  for (auto subview = below.rbegin(); subview != below.rend(); ++subview) {
    const CGPoint place = (*subview)->frame().origin;
    const CGPoint inner = (*subview)->bounds().origin;
    if (UIView* hit =
            (*subview)->hitTest({point.x - place.x + inner.x, point.y - place.y + inner.y}, event)) {
      return hit;
    }
  }
  return this;
}

}  // namespace platform
