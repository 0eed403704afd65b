#pragma once

#include <Kova/KovaIgnore.h>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/uikit/UIKit.h"
#include "src/autocapture/KICaptureContext.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

// What a capture reads of the tracker, as plain fields.
class CaptureSettings final : public KICaptureContext {
 public:
  using Override = std::optional<platform::Dictionary>;

  bool isTextCaptureDisabled() const override { return textOff; }
  bool isAccessibilityLabelCaptureDisabled() const override { return labelOff; }
  bool isIvarCaptureDisabled() const override { return ivarOff; }
  std::int64_t hierarchyCaptureLimit() const override { return limit; }
  bool enableAccessibilityPrefetching() const override { return prefetch; }
  std::string sessionId() const override { return "1"; }
  Override overriddenTouchEventPropertiesForEventType(std::string_view, platform::UIView*, platform::UITouch*,
                                                      platform::UIControl*) const override {
    return touchOverrides;
  }
  Override overriddenAncestryNodePropertiesForResponder(platform::UIResponder* responder) const override {
    return nodeOverrides ? nodeOverrides(*responder) : std::nullopt;
  }

  bool textOff = false;
  bool labelOff = false;
  bool ivarOff = false;
  bool prefetch = false;
  std::int64_t limit = 30;
  Override touchOverrides;
  std::function<Override(platform::UIResponder&)> nodeOverrides;
};

// A screen of an app, with variables that hold its views.
class CartController : public platform::UIViewController {
  NS_OBJECT(CartController, UIViewController)

 public:
  static void describe(platform::ClassBuilder<CartController>& c) {
    c.ivar("_payButton", &CartController::payButton)
        .ivar("again", &CartController::payButton)
        .ivar("row", &CartController::row)
        .action("pay:", &CartController::pay);
  }
  void pay(platform::NSObject*) {
    ++payments;
    if (onPay) onPay();
  }

  std::shared_ptr<platform::UIButton> payButton;
  std::shared_ptr<platform::UIView> row;
  std::function<void()> onPay;
  int payments = 0;
};

inline std::shared_ptr<platform::UIView> viewWith(const platform::UIView::Subviews& subviews) {
  auto view = std::make_shared<platform::UIView>();
  for (const auto& subview : subviews) view->addSubview(subview);
  return view;
}
inline std::shared_ptr<platform::UIView> label(platform::String text) {
  return std::make_shared<platform::UILabel>(std::move(text));
}
