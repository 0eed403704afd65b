#include "platform/uikit/UITabBar.h"

#include <utility>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"

namespace platform {

namespace {

constexpr double kButtonHeight = 49;
constexpr UIColor kBackground = UIColor::fromRGB(0xF9F9F9);

}  // namespace

// A control with a label for its title.
class UITabBar::Button : public UIControl {
  NS_OBJECT_NAMED(Button, UIControl, "UITabBarButton")

 public:
  Button() : label_(std::make_shared<UILabel>()) {
    label_->setTextAlignment(TextAlignment::Center);
    setSelected(false);
    addSubview(label_);
  }

  void setTitle(std::optional<String> title) { label_->setText(std::move(title)); }
  std::optional<String> accessibilityLabel() const override {
    const auto label = UIControl::accessibilityLabel();
    return label ? label : label_->text();
  }
  void setSelected(bool selected) override {
    UIControl::setSelected(selected);
    label_->setTextColor(selected ? UIColor::systemBlue() : UIColor::systemGray());
    label_->setFont(Font::systemFont(14, selected ? Font::Weight::Bold : Font::Weight::Medium));
  }
  void layoutSubviews() override { label_->setFrame(bounds()); }

 private:
  const std::shared_ptr<UILabel> label_;
};

UITabBar::UITabBar(std::weak_ptr<NSObject> target) : target_(std::move(target)) {
  setBackgroundColor(kBackground);
}

UITabBar::~UITabBar() = default;

void UITabBar::setItems(std::vector<std::shared_ptr<UITabBarItem>> items) {
  for (const auto& item : items_) item->removeObserver(*this, "title", this);
  for (const auto& button : buttons_) button->removeFromSuperview();
  buttons_.clear();
  items_ = std::move(items);
  for (const auto& item : items_) {
    item->addObserver(weak_from_this(), "title", this);
    const auto button = std::make_shared<Button>();
    button->setTitle(item->title());
    button->addTarget(target_.lock(), SEL("_tabBarItemClicked:"), UIControlEvents::TouchUpInside);
    buttons_.push_back(button);
    addSubview(button);
  }
  setNeedsLayout();
  layoutIfNeeded();
}

void UITabBar::setSelectedIndex(std::size_t index) {
  for (std::size_t i = 0; i < buttons_.size(); ++i) buttons_[i]->setSelected(i == index);
}

std::optional<std::size_t> UITabBar::indexOfButton(const UIControl* button) const {
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    if (buttons_[i].get() == button) return i;
  }
  return std::nullopt;
}

void UITabBar::observeValueForKeyPath(const std::string&, NSObject&, const KeyValue&, const void*) {
  for (std::size_t i = 0; i < buttons_.size(); ++i) buttons_[i]->setTitle(items_[i]->title());
}

void UITabBar::layoutSubviews() {
  if (buttons_.empty()) return;
  const double width = bounds().size.width / static_cast<double>(buttons_.size());
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    buttons_[i]->setFrame(CGRectMake(static_cast<double>(i) * width, 0, width, kButtonHeight));
  }
}

void UITabBar::drawRect(CGRect, BitmapContext& context) {
  context.fillRect(CGRectMake(0, 0, bounds().size.width, 0.5), UIColor::separator());
}

}  // namespace platform
