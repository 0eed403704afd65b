#include "platform/uikit/UIAlertController.h"

#include <algorithm>
#include <utility>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UIScreen.h"

namespace platform {

namespace {

constexpr double kWidth = 270;
constexpr double kMargin = 16;
constexpr double kGap = 4;  // between title and message
constexpr double kButtonHeight = 44;
constexpr double kHairline = 0.5;
constexpr double kCornerRadius = 14;
constexpr UIColor kShade = UIColor::black().withAlpha(0.4);

}  // namespace

// A choice: its title, and a line that parts it from what is above or to the left.
class UIAlertController::ActionView : public UIControl {
  NS_OBJECT_NAMED(ActionView, UIControl, "_UIAlertControllerActionView")

 public:
  ActionView(std::shared_ptr<UIAlertAction> action, bool isBold) : action_(std::move(action)) {
    const bool isDestructive = action_->style() == UIAlertAction::Style::Destructive;
    label_->setText(action_->title());
    label_->setFont(Font::systemFont(17, isBold ? Font::Weight::Bold : Font::Weight::Regular));
    label_->setTextColor(isDestructive ? UIColor::systemRed() : UIAppearance::shared().tint);
    label_->setTextAlignment(TextAlignment::Center);
    addSubview(label_);
  }

  const std::shared_ptr<UIAlertAction>& action() const { return action_; }
  void setLineAtLeft(bool atLeft) { lineAtLeft_ = atLeft; }

  std::optional<String> accessibilityLabel() const override {
    const auto label = UIControl::accessibilityLabel();
    return label ? label : action_->title();
  }

  void layoutSubviews() override { label_->setFrame(CGRectInset(bounds(), kGap, 0)); }

  void drawRect(CGRect, BitmapContext& context) override {
    const CGSize size = bounds().size;
    if (isHighlighted()) context.fillRect(bounds(), UIColor::black().withAlpha(0.1));
    context.fillRect(CGRectMake(0, 0, size.width, kHairline), UIAppearance::shared().separator);
    if (lineAtLeft_)
      context.fillRect(CGRectMake(0, 0, kHairline, size.height), UIAppearance::shared().separator);
  }

 private:
  const std::shared_ptr<UIAlertAction> action_;
  const std::shared_ptr<UILabel> label_ = std::make_shared<UILabel>();
  bool lineAtLeft_ = false;
};

// The shade over the screen, and the box in its middle.
class UIAlertController::View : public UIView {
  NS_OBJECT_NAMED(View, UIView, "_UIAlertControllerView")

 public:
  using Buttons = std::vector<std::shared_ptr<ActionView>>;

  View() : UIView(UIScreen::mainScreen().bounds()) {
    setBackgroundColor(kShade);
    const UIAppearance& appearance = UIAppearance::shared();
    box_->setBackgroundColor(appearance.alert);
    title_->setTextColor(appearance.label);
    message_->setTextColor(appearance.label);
    box_->setCornerRadius(kCornerRadius);
    box_->setClipsToBounds(true);
    addSubview(box_);
    title_->setFont(Font::boldSystemFont(17));
    message_->setFont(Font::systemFont(13));
    for (const auto& label : {title_, message_}) {
      label->setNumberOfLines(0);
      label->setTextAlignment(TextAlignment::Center);
      box_->addSubview(label);
    }
  }

  void setTexts(std::optional<String> title, std::optional<String> message) {
    title_->setText(std::move(title));
    message_->setText(std::move(message));
    setNeedsLayout();
  }

  void setButtons(Buttons buttons) {
    for (const auto& button : buttons_) button->removeFromSuperview();
    buttons_ = std::move(buttons);
    for (const auto& button : buttons_) box_->addSubview(button);
    setNeedsLayout();
  }

  void layoutSubviews() override {
    const CGSize room = bounds().size;
    const bool sideBySide = buttons_.size() == 2;
    const double rows = sideBySide ? 1 : static_cast<double>(buttons_.size());
    double y = kMargin;
    y = place(*title_, y);
    y = place(*message_, y > kMargin ? y + kGap : y) + kMargin;

    // So many buttons that they do not fit are all made lower.
    const double left = std::max(0.0, room.height - 2 * kMargin - y);
    const double height = rows > 0 ? std::min(kButtonHeight, left / rows) : 0;
    const double width = sideBySide ? kWidth / 2 : kWidth;
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
      const double x = sideBySide && i == 1 ? width : 0;
      const double row = sideBySide ? 0 : static_cast<double>(i);
      buttons_[i]->setFrame(CGRectMake(x, y + row * height, width, height));
      buttons_[i]->setLineAtLeft(x > 0);
    }
    const CGSize box{kWidth, y + rows * height};
    box_->setFrame({{(room.width - box.width) / 2, (room.height - box.height) / 2}, box});
  }

 private:
  // Answers where the label ends; one without a text takes no room.
  static double place(UILabel& label, double y) {
    const double width = kWidth - 2 * kMargin;
    const double height = label.sizeThatFits({width, 0}).height;
    label.setFrame(CGRectMake(kMargin, y, width, height));
    return y + height;
  }

  const std::shared_ptr<UIView> box_ = std::make_shared<UIView>();
  const std::shared_ptr<UILabel> title_ = std::make_shared<UILabel>();
  const std::shared_ptr<UILabel> message_ = std::make_shared<UILabel>();
  Buttons buttons_;
};

void UIAlertController::describe(ClassBuilder<UIAlertController>& c) {
  c.action("_actionTapped:", &UIAlertController::actionTapped);
}

UIAlertController::UIAlertController(std::optional<String> title, std::optional<String> message)
    : message_(std::move(message)) {
  setTitle(std::move(title));
  setModalPresentationStyle(ModalPresentationStyle::OverCurrentContext);
}

UIAlertController::~UIAlertController() = default;

void UIAlertController::addAction(std::shared_ptr<UIAlertAction> action) {
  if (!action) return;
  actions_.push_back(std::move(action));
  rebuild();
}

void UIAlertController::setPreferredAction(std::shared_ptr<UIAlertAction> action) {
  preferredAction_ = std::move(action);
  rebuild();
}

void UIAlertController::loadView() {
  alertView_ = std::make_shared<View>();
  setView(alertView_);
  rebuild();
}

bool UIAlertController::isBold(const UIAlertAction& action) const {
  if (preferredAction_) return preferredAction_.get() == &action;
  return action.style() == UIAlertAction::Style::Cancel;
}

void UIAlertController::rebuild() {
  if (!alertView_) return;
  View::Buttons buttons;
  for (const auto& action : actions_) {
    auto button = std::make_shared<ActionView>(action, isBold(*action));
    button->addTarget(weak_from_this().lock(), SEL("_actionTapped:"), UIControlEvents::TouchUpInside);
    buttons.push_back(std::move(button));
  }
  const auto isCancel = [](const auto& button) {
    return button->action()->style() == UIAlertAction::Style::Cancel;
  };
  if (buttons.size() == 2) {
    std::stable_partition(buttons.begin(), buttons.end(), isCancel);
  } else {
    std::stable_partition(buttons.begin(), buttons.end(), std::not_fn(isCancel));
  }
  alertView_->setTexts(title(), message_);
  alertView_->setButtons(std::move(buttons));
}

void UIAlertController::actionTapped(ActionView* button) {
  if (button) choose(button->action());
}

void UIAlertController::choose(std::shared_ptr<UIAlertAction> action) {
  UIViewController* const presenter = presentingViewController();
  if (!action || !presenter) return;
  presenter->dismissViewController(true, [action = std::move(action)] { action->run(); });
}

void UIAlertController::viewDidAppear(bool animated) {
  UIViewController::viewDidAppear(animated);
  const auto self = std::static_pointer_cast<UIAlertController>(weak_from_this().lock());
  if (const auto application = UIApplication::sharedApplication()) application->alertDidAppear(self);
}

void UIAlertController::viewDidDisappear(bool animated) {
  UIViewController::viewDidDisappear(animated);
  if (const auto application = UIApplication::sharedApplication()) application->alertDidDisappear(*this);
}

}  // namespace platform
