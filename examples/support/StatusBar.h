#pragma once

#include "platform/uikit/UIView.h"

// What a device shows above its apps: the time, the network, the battery. As wide as the view that it lies
// in, at the top of it, and nothing for fingers.
class StatusBar : public platform::UIView {
  NS_OBJECT(StatusBar, UIView)

 public:
  static constexpr double kHeight = 47;  // points

  explicit StatusBar(platform::UIColor ink);
  platform::CGRect frame() const override;
  void drawRect(platform::CGRect rect, platform::BitmapContext& context) override;

 private:
  const platform::UIColor ink_;
};
