#pragma once

#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"

namespace platform {

// A control with a title. The title's label says how it is drawn and is no subview: a button is a leaf of the
// tree, and who changes the label itself asks the button to be drawn again.
//
// Without a background colour the title has the tint colour, on a background it is white, unless another
// colour was set.
class PLATFORM_EXPORT UIButton : public UIControl {
  NS_OBJECT(UIButton, UIControl)

 public:
  explicit UIButton(CGRect frame = {});
  explicit UIButton(String title) : UIButton(CGRect{}) { setTitle(std::move(title)); }
  ~UIButton() override;

  void setTitle(std::optional<String> title);
  void setTitleColor(UIColor color);
  virtual std::shared_ptr<UILabel> titleLabel() const { return titleLabel_; }
  // The title unless one was set.
  std::optional<String> accessibilityLabel() const override;

  CGSize sizeThatFits(CGSize size) const override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  bool isFilled() const;
  UIColor titleColor() const;

  std::shared_ptr<UILabel> titleLabel_;
  std::optional<UIColor> titleColor_;
};

}  // namespace platform
