#include "platform/uikit/UITabBar.h"

#include <utility>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"

namespace platform {

namespace {

constexpr double kButtonHeight = 49;
constexpr double kPicture = 24;
constexpr double kTitleBelowPicture = 16;
constexpr char kImagesKey = 0;  // its address is the key

// The pictures of an item, kept with it: few items have any.
class TabImages : public NSObject {
  NS_OBJECT(TabImages, NSObject)

 public:
  TabImages(std::shared_ptr<const Image> usual, std::shared_ptr<const Image> whileSelected)
      : image(std::move(usual)), selected(std::move(whileSelected)) {}
  const std::shared_ptr<const Image> image, selected;
};

}  // namespace

void setTabBarItemImages(UITabBarItem& item, std::shared_ptr<const Image> image,
                         std::shared_ptr<const Image> selected) {
  setAssociatedObject(item, &kImagesKey, std::make_shared<TabImages>(std::move(image), std::move(selected)));
}

// A control with a label for its title, and a picture where the item has one.
class UITabBar::Button : public UIControl {
  NS_OBJECT_NAMED(Button, UIControl, "UITabBarButton")

 public:
  explicit Button(const UITabBarItem& item)
      : images_(std::static_pointer_cast<TabImages>(associatedObject(item, &kImagesKey))),
        label_(std::make_shared<UILabel>()) {
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
    const UIAppearance& appearance = UIAppearance::shared();
    label_->setTextColor(selected ? appearance.tint : appearance.unselected);
    label_->setFont(
        Font::systemFont(images_ ? 11 : 14, selected ? Font::Weight::Bold : Font::Weight::Medium));
  }
  void layoutSubviews() override {
    const CGSize size = bounds().size;
    const double height = images_ ? kTitleBelowPicture : size.height;
    label_->setFrame(CGRectMake(0, size.height - height, size.width, height));
  }
  void drawRect(CGRect rect, BitmapContext& context) override {
    if (!images_) return;
    const double room = rect.size.height - kTitleBelowPicture;
    const CGRect place =
        CGRectMake((rect.size.width - kPicture) / 2, (room - kPicture) / 2 + 2, kPicture, kPicture);
    context.drawImage(isSelected() ? *images_->selected : *images_->image, place);
  }

 private:
  const std::shared_ptr<const TabImages> images_;  // null for none
  const std::shared_ptr<UILabel> label_;
};

UITabBar::UITabBar(std::weak_ptr<NSObject> target) : target_(std::move(target)) {
  setBackgroundColor(UIAppearance::shared().bar);
}

UITabBar::~UITabBar() = default;

void UITabBar::setItems(std::vector<std::shared_ptr<UITabBarItem>> items) {
  for (const auto& item : items_) item->removeObserver(*this, "title", this);
  for (const auto& button : buttons_) button->removeFromSuperview();
  buttons_.clear();
  items_ = std::move(items);
  for (const auto& item : items_) {
    item->addObserver(weak_from_this(), "title", this);
    const auto button = std::make_shared<Button>(*item);
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
  context.fillRect(CGRectMake(0, 0, bounds().size.width, 0.5), UIAppearance::shared().separator);
}

}  // namespace platform
