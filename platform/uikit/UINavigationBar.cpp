#include "platform/uikit/UINavigationBar.h"

#include <algorithm>
#include <utility>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UIButton.h"

namespace platform {

namespace {

constexpr double kMargin = 8;
constexpr double kChevron = 14;  // the room for it

// A chevron to the left and a title.
class BackButton : public UIButton {
  NS_OBJECT_NAMED(BackButton, UIButton, "_UIButtonBarButton")

 public:
  BackButton() { titleLabel()->setTextAlignment(TextAlignment::Left); }

  CGSize sizeThatFits(CGSize size) const override {
    return {kChevron + titleLabel()->sizeThatFits(size).width, size.height};
  }

  void drawRect(CGRect, BitmapContext& context) override {
    const UIColor tint = UIAppearance::shared().tint.withAlpha(isHighlighted() ? 0.3 : 1);
    const double middle = CGRectGetMidY(bounds());
    context.strokeLine({kChevron - 4, middle - 8}, {2, middle}, tint, 2.5);
    context.strokeLine({2, middle}, {kChevron - 4, middle + 8}, tint, 2.5);
    const CGRect room = CGRectMake(kChevron, 0, bounds().size.width - kChevron, bounds().size.height);
    context.drawText(titleLabel()->text().value_or(""), room,
                     {.font = titleLabel()->font(), .color = tint, .alignment = TextAlignment::Left});
  }
};

}  // namespace

UINavigationBar::UINavigationBar(const std::shared_ptr<NSObject>& target)
    : title_(std::make_shared<UILabel>()), backButton_(std::make_shared<BackButton>()) {
  setBackgroundColor(UIAppearance::shared().bar);
  title_->setTextColor(UIAppearance::shared().label);
  title_->setFont(Font::boldSystemFont(17));
  title_->setTextAlignment(TextAlignment::Center);
  backButton_->titleLabel()->setFont(Font::systemFont(17));
  backButton_->addTarget(target, SEL("_back:"), UIControlEvents::TouchUpInside);
  addSubview(title_);
}

UINavigationBar::~UINavigationBar() = default;

void UINavigationBar::show(std::shared_ptr<UINavigationItem> item,
                           std::shared_ptr<UINavigationItem> previous) {
  observe(item_, std::move(item));
  observe(previous_, std::move(previous));
  update();
}

void UINavigationBar::observe(std::shared_ptr<UINavigationItem>& held,
                              std::shared_ptr<UINavigationItem> item) {
  if (held) held->removeObserver(*this, "title", &held);
  held = std::move(item);
  if (held) held->addObserver(weak_from_this(), "title", &held);
}

void UINavigationBar::observeValueForKeyPath(const std::string&, NSObject&, const KeyValue&, const void*) {
  update();
}

void UINavigationBar::update() {
  title_->setText(item_ ? item_->title() : std::nullopt);
  const bool hasButton = backButton_->superview() == this;
  if (previous_) {
    const auto title = previous_->title();
    backButton_->setTitle(title && !title->empty() ? *title : String("Back"));
    if (!hasButton) addSubview(backButton_);
  } else if (hasButton) {
    backButton_->removeFromSuperview();
  }
  setNeedsLayout();
  layoutIfNeeded();
  setNeedsDisplay();
}

void UINavigationBar::layoutSubviews() {
  const CGSize size = bounds().size;
  double side = 0;  // what both sides of the title keep free
  if (backButton_->superview() == this) {
    const double wanted = backButton_->sizeThatFits(size).width;
    const double width = std::clamp(wanted, 0.0, std::max(0.0, size.width / 3));
    backButton_->setFrame(CGRectMake(kMargin, 0, width, size.height));
    side = width + kMargin;
  }
  side += kMargin;
  title_->setFrame(CGRectMake(side, 0, std::max(0.0, size.width - 2 * side), size.height));
}

void UINavigationBar::drawRect(CGRect, BitmapContext& context) {
  const CGSize size = bounds().size;
  context.fillRect(CGRectMake(0, size.height - 0.5, size.width, 0.5), UIAppearance::shared().separator);
}

}  // namespace platform
