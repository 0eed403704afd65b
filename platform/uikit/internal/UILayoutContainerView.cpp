#include "platform/uikit/internal/UILayoutContainerView.h"

#include <algorithm>
#include <utility>

#include "platform/uikit/UIScreen.h"

namespace platform {

namespace {

constexpr double kStatusArea = 47;
constexpr double kNavigationBar = 44;
constexpr double kTabBar = 49;
constexpr double kHomeIndicator = 34;

}  // namespace

UILayoutContainerView::UILayoutContainerView(std::shared_ptr<UIView> bar, BarPlace place)
    : UIView(UIScreen::mainScreen().bounds()), bar_(std::move(bar)), place_(place) {
  setBackgroundColor(bar_->backgroundColor());
  addSubview(bar_);
}

void UILayoutContainerView::setContent(const std::shared_ptr<UIView>& content) {
  const auto former = content_.lock();
  if (former && former != content && former->superview() == this) former->removeFromSuperview();
  content_ = content;
  if (content && content->superview() != this) insertSubview(content, 0);
  setNeedsLayout();
  layoutIfNeeded();
}

void UILayoutContainerView::layoutSubviews() {
  const CGSize size = bounds().size;
  CGRect bar = CGRectMake(0, kStatusArea, size.width, kNavigationBar);
  CGRect rest =
      CGRectMake(0, CGRectGetMaxY(bar), size.width, std::max(0.0, size.height - CGRectGetMaxY(bar)));
  if (place_ == BarPlace::Bottom) {
    rest = CGRectMake(0, 0, size.width, std::max(0.0, size.height - kTabBar - kHomeIndicator));
    bar = CGRectMake(0, CGRectGetMaxY(rest), size.width, kTabBar + kHomeIndicator);
  }
  bar_->setFrame(bar);
  const auto content = content_.lock();
  if (content && content->superview() == this) content->setFrame(rest);
}

}  // namespace platform
