#include "platform/uikit/UIScrollView.h"

#include <algorithm>

#include "platform/uikit/UIPanGestureRecognizer.h"

namespace platform {

namespace {

double within(double offset, double contents, double visible) {
  return std::clamp(offset, 0.0, std::max(contents - visible, 0.0));
}

}  // namespace

std::shared_ptr<UIScrollView> UIScrollView::create(CGRect frame) {
  return std::make_shared<UIScrollView>(frame);
}

UIScrollView::UIScrollView(CGRect frame) : UIView(frame) { setClipsToBounds(true); }

UIScrollView::~UIScrollView() = default;

void UIScrollView::describe(ClassBuilder<UIScrollView>& c) {
  c.action("handlePan:", &UIScrollView::handlePan);
}

const std::shared_ptr<UIPanGestureRecognizer>& UIScrollView::panGestureRecognizer() {
  if (!pan_) {
    pan_ = UIGestureRecognizer::create<UIPanGestureRecognizer>(this, SEL("handlePan:"));
    addGestureRecognizer(pan_);
  }
  return pan_;
}

void UIScrollView::setContentSize(CGSize size) {
  contentSize_ = size;
  setContentOffset(contentOffset());
}

void UIScrollView::setContentOffset(CGPoint offset) {
  const CGSize visible = bounds().size;
  setBoundsOrigin({within(offset.x, contentSize_.width, visible.width),
                   within(offset.y, contentSize_.height, visible.height)});
}

void UIScrollView::didMoveToWindow() {
  if (isDragging()) pan_->giveUp();
  tracking_.reset();
  if (window()) panGestureRecognizer();
}

void UIScrollView::handlePan() {
  switch (pan_->state()) {
    case UIGestureRecognizerState::Began:
      tracking_.emplace();
      offsetAtStart_ = contentOffset();
      break;
    case UIGestureRecognizerState::Changed:
    case UIGestureRecognizerState::Ended:
      break;
    default:
      tracking_.reset();
      return;
  }
  const CGPoint moved = pan_->translationInView(this);
  setContentOffset({offsetAtStart_.x - moved.x, offsetAtStart_.y - moved.y});
  if (pan_->state() == UIGestureRecognizerState::Ended) tracking_.reset();
}

}  // namespace platform
