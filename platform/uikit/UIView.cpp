#include "platform/uikit/UIView.h"

#include <algorithm>
#include <stdexcept>

namespace platform {

UIView::UIView(CGRect frame) : frame_(frame) {}

UIView::~UIView() {
  for (const auto& subview : subviews_) {
    if (subview->superview_ == this) subview->superview_ = nullptr;
  }
}

void UIView::describe(ClassBuilder<UIView>& c) {
  c.key("accessibilityIdentifier", &UIView::accessibilityIdentifier)
      .key("accessibilityLabel", &UIView::accessibilityLabel)
      .key("hidden", &UIView::isHidden);
}

UIWindow* UIView::window() const {
  const UIView* top = this;
  while (const UIView* above = top->superview()) top = above;
  // A window answers itself, any other view at the top has none.
  return top == this ? nullptr : top->window();
}

void UIView::addSubview(std::shared_ptr<UIView> view) { insertSubview(std::move(view), subviews_.size()); }

void UIView::insertSubview(std::shared_ptr<UIView> view, std::size_t index) {
  if (!view) throw std::invalid_argument("no view to add");
  if (isDescendantOfView(*view)) throw std::invalid_argument("a view cannot contain itself");
  const UIWindow* const previousWindow = view->window();
  const bool changesWindow = previousWindow != window();
  if (changesWindow) view->resignFirstResponderWithin();
  view->detachFromSuperview();
  index = std::min(index, subviews_.size());
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), view);
  view->superview_ = this;
  setNeedsLayout();
  view->setNeedsDisplay();
  if (changesWindow) view->windowDidChange();
}

void UIView::bringSubviewToFront(UIView& view) {
  if (view.superview_ != this) return;
  const auto isIt = [&](const auto& each) { return each.get() == &view; };
  const auto position = std::find_if(subviews_.begin(), subviews_.end(), isIt);
  std::rotate(position, position + 1, subviews_.end());
  setNeedsDisplay();
}

void UIView::removeFromSuperview() {
  const auto keep = shared_from_this();
  const bool leavesWindow = window() != nullptr;
  if (leavesWindow) resignFirstResponderWithin();
  if (!superview_) return;
  setNeedsDisplay();
  detachFromSuperview();
  if (leavesWindow) windowDidChange();
}

void UIView::detachFromSuperview() {
  if (!superview_) return;
  superview_->setNeedsLayout();
  std::erase_if(superview_->subviews_, [this](const auto& each) { return each.get() == this; });
  superview_ = nullptr;
}

bool UIView::isDescendantOfView(const UIView& view) const {
  const UIView* each = this;
  while (each && each != &view) each = each->superview();
  return each != nullptr;
}

void UIView::windowDidChange() {
  didMoveToWindow();
  const Subviews below = subviews();
  for (const auto& subview : below) subview->windowDidChange();
}

void UIView::setHidden(bool hidden) {
  if (hidden_ == hidden) return;
  hidden_ = hidden;
  setNeedsDisplay();
}

void UIView::setAlpha(double alpha) {
  alpha_ = alpha;
  setNeedsDisplay();
}

void UIView::setBackgroundColor(std::optional<UIColor> color) {
  backgroundColor_ = color;
  setNeedsDisplay();
}

void UIView::setCornerRadius(double radius) {
  cornerRadius_ = radius;
  setNeedsDisplay();
}

void UIView::setBorder(double width, UIColor color) {
  borderWidth_ = width;
  borderColor_ = color;
  setNeedsDisplay();
}

void UIView::setClipsToBounds(bool clips) {
  clipsToBounds_ = clips;
  setNeedsDisplay();
}

}  // namespace platform
