#include "platform/uikit/UISegmentedControl.h"

#include <algorithm>
#include <stdexcept>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UIImageView.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

constexpr double kHeight = 32;
constexpr double kMargin = 12;
constexpr double kBorder = 2;
constexpr double kCornerRadius = 8;

}  // namespace

// One segment: the owner of its label or picture.
class UISegment : public UIView {
  NS_OBJECT(UISegment, UIView)

 public:
  explicit UISegment(String title) : label_(std::make_shared<UILabel>(std::move(title))) {
    label_->setTextAlignment(TextAlignment::Center);
    label_->setTextColor(UIAppearance::shared().label);
    label_->setFont(Font::systemFont(14, Font::Weight::Medium));
    addSubview(label_);
  }
  explicit UISegment(std::shared_ptr<const Image> image) : imageView_(std::make_shared<UIImageView>()) {
    imageView_->setImage(std::move(image));
    addSubview(imageView_);
  }

  std::optional<String> title() const { return label_ ? label_->text() : std::nullopt; }
  double fittingWidth() const {
    if (label_) return label_->sizeThatFits({}).width;
    return imageView_->image() ? imageView_->image()->size().width : 0;
  }
  void layoutSubviews() override {
    if (label_) label_->setFrame(bounds());
    if (imageView_) imageView_->setFrame(pictureFrame());
  }

 private:
  CGRect pictureFrame() const {
    const CGRect all = bounds();
    const double margin = std::min({kMargin / 2, all.size.width / 2, all.size.height / 2});
    return CGRectInset(all, margin, margin);
  }

  std::shared_ptr<UILabel> label_;
  std::shared_ptr<UIImageView> imageView_;
};

void UISegmentedControl::describe(ClassBuilder<UISegmentedControl>& c) {
  c.observableKey("selectedSegmentIndex", &UISegmentedControl::selectedSegmentIndex);
}

UISegmentedControl::UISegmentedControl(CGRect frame) : UIControl(frame) {
  setBackgroundColor(UIAppearance::shared().segments);
  setCornerRadius(kCornerRadius);
}

UISegmentedControl::UISegmentedControl(const std::vector<String>& titles) : UISegmentedControl(CGRect{}) {
  for (const String& title : titles) addSegmentWithTitle(title);
}

UISegmentedControl::~UISegmentedControl() = default;

void UISegmentedControl::addSegmentWithTitle(String title) {
  addSegment(std::make_shared<UISegment>(std::move(title)));
}

void UISegmentedControl::addSegmentWithImage(std::shared_ptr<const Image> image) {
  addSegment(std::make_shared<UISegment>(std::move(image)));
}

void UISegmentedControl::addSegment(std::shared_ptr<UISegment> segment) {
  segments_.push_back(segment);
  addSubview(std::move(segment));
  setNeedsLayout();
  setNeedsDisplay();
}

int UISegmentedControl::numberOfSegments() const { return static_cast<int>(segments_.size()); }

std::optional<String> UISegmentedControl::titleForSegmentAtIndex(int index) const {
  if (index < 0) throw std::out_of_range("no segment has a negative index");
  return segments_.at(static_cast<std::size_t>(index))->title();
}

void UISegmentedControl::setSelectedSegmentIndex(int index) {
  if (index < kNoSegment || index >= numberOfSegments()) throw std::out_of_range("no such segment");
  if (selectedSegmentIndex_ == index) return;
  selectedSegmentIndex_ = index;
  setNeedsDisplay();
  didChangeValueForKey("selectedSegmentIndex");
}

UIView* UISegmentedControl::hitTest(CGPoint point, UIEvent* event) {
  return UIControl::hitTest(point, event) ? this : nullptr;
}

void UISegmentedControl::touchUp(const UITouch& touch, UIEvent* event) {
  const int index = segmentAt(touch.locationInView(this));
  if (index != kNoSegment && index != selectedSegmentIndex_) {
    setSelectedSegmentIndex(index);
    sendActionsForControlEvents(UIControlEvents::ValueChanged, event);
  }
  UIControl::touchUp(touch, event);
}

void UISegmentedControl::layoutSubviews() {
  for (int i = 0; i < numberOfSegments(); ++i) {
    segments_[static_cast<std::size_t>(i)]->setFrame(frameOfSegment(i));
  }
}

CGSize UISegmentedControl::sizeThatFits(CGSize) const {
  double widest = 0;
  for (const auto& segment : segments_) widest = std::max(widest, segment->fittingWidth());
  return {(widest + 2 * kMargin) * numberOfSegments(), kHeight};
}

void UISegmentedControl::drawRect(CGRect, BitmapContext& context) {
  for (int i = 1; i < numberOfSegments(); ++i) {
    if (i == selectedSegmentIndex_ || i - 1 == selectedSegmentIndex_) continue;
    const CGRect segment = frameOfSegment(i);
    context.strokeLine({segment.origin.x, CGRectGetMinY(segment) + kCornerRadius},
                       {segment.origin.x, CGRectGetMaxY(segment) - kCornerRadius},
                       UIAppearance::shared().separator, 1);
  }
  if (selectedSegmentIndex_ == kNoSegment) return;
  const CGRect lozenge = CGRectInset(frameOfSegment(selectedSegmentIndex_), kBorder, kBorder);
  context.fillRoundedRect(CGRectOffset(lozenge, 0, 1), kCornerRadius - 1, UIColor::black().withAlpha(0.12));
  const UIAppearance& appearance = UIAppearance::shared();
  context.fillRoundedRect(lozenge, kCornerRadius - 1,
                          isEnabled() ? appearance.chosenSegment : appearance.segments);
}

CGRect UISegmentedControl::frameOfSegment(int index) const {
  const CGRect all = bounds();
  const double width = all.size.width / numberOfSegments();
  return CGRectMake(all.origin.x + index * width, all.origin.y, width, all.size.height);
}

int UISegmentedControl::segmentAt(CGPoint point) const {
  for (int i = 0; i < numberOfSegments(); ++i) {
    if (CGRectContainsPoint(frameOfSegment(i), point)) return i;
  }
  return kNoSegment;
}

}  // namespace platform
