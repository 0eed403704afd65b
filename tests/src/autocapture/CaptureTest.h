#pragma once

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>
#include <Kova/KovaIgnore.h>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/uikit/UIKit.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/autocapture/KITouchEvent.h"
#include "src/autocapture/KovaUtil.h"
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
  // A touch of these settings; null where there must be none.
  std::shared_ptr<KITouchEvent> touch(
      const std::shared_ptr<platform::UIView>& view, unsigned rules = 0,
      std::shared_ptr<platform::UITouch> touch = nullptr, const char* type = "touch",
      KITouchEvent::ViewAncestry ancestry = KITouchEvent::ViewAncestry::Omit) const {
    return KITouchEvent::create(type, view, std::move(touch), std::nullopt, ancestry,
                                kAppVisibilityStateForeground, rules, *this);
  }

  bool textOff = false, labelOff = false, ivarOff = false, prefetch = false;
  std::int64_t limit = 30;
  Override touchOverrides;
  std::function<Override(platform::UIResponder&)> nodeOverrides;
};

// Screens of an app: one with variables that hold its views, one of the system's, which is no screen of the
// app, and one that the app has made of that.
class CartController : public platform::UIViewController {
  NS_OBJECT(CartController, UIViewController)
 public:
  static void describe(platform::ClassBuilder<CartController>& c) {
    c.ivar("_payButton", &CartController::payButton)
        .ivar("again", &CartController::payButton)
        .ivar("row", &CartController::row)
        .key("accessibilityIdentifier", [](const CartController&) { return "cart.screen"; })
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
class UIInputWindowController : public platform::UIViewController {
  NS_OBJECT(UIInputWindowController, UIViewController)
};
class AppInputController : public UIInputWindowController {
  NS_OBJECT(AppInputController, UIInputWindowController)
};
// Answers what a test says.
struct Delegate : KovaAutocaptureEnrichmentDelegate {
  using Answer = std::optional<platform::Dictionary>;
  Answer autocapturePageviewPropertiesForViewController(platform::UIViewController&) override {
    return pageview();
  }
  Answer autocaptureTouchEventPropertiesForEventType(std::string_view, platform::UIView&, platform::UITouch*,
                                                     platform::UIControl*) override {
    return touch;
  }
  Answer autocaptureAncestryNodePropertiesForResponder(platform::UIResponder&) override { return node; }

  std::function<Answer()> pageview = [] { return Answer(); };
  Answer touch, node;
};
// Of a host that closed its hierarchy into a circle.
class CircularView : public platform::UIView {
  NS_OBJECT(CircularView, UIView)
 public:
  UIResponder* nextResponder() const override { return superview(); }
  UIView* superview() const override { return const_cast<CircularView*>(this); }
};

inline std::shared_ptr<CartController> screen(std::string_view title = "") {
  auto controller = std::make_shared<CartController>();
  if (!title.empty()) controller->setTitle(title);
  return controller;
}
inline std::shared_ptr<platform::UIView> viewWith(const platform::UIView::Subviews& subviews) {
  auto view = std::make_shared<platform::UIView>();
  for (const auto& subview : subviews) view->addSubview(subview);
  return view;
}
inline std::shared_ptr<platform::UIView> label(platform::String text) {
  return std::make_shared<platform::UILabel>(std::move(text));
}

// An app with a button on its one screen, a finger to use it, and what of that arrives at the service.
class CaptureTest : public testing::Test {
 protected:
  CaptureTest() {
    window->setRootViewController(controller);
    button->setFrame(platform::CGRectMake(10, 10, 100, 40));
    controller->payButton = button;
    controller->view()->addSubview(button);
    window->makeKeyAndVisible();
    button->addTarget(controller, platform::SEL("pay:"), platform::UIControlEvents::TouchUpInside);
  }

  // With screens, gestures and the log, until all of it has arrived.
  void startWhole(const std::shared_ptr<KovaAutocaptureEnrichmentDelegate>& delegate = nullptr) {
    const auto options = device.optionsWithScreens();
    options->setEnableGestureAutocapture(true);
    options->setDisableVisualizerPairingGesture(true);  // a recogniser that is not the app's
    options->setDebug(true);
    options->setAutocaptureEnrichmentDelegate(delegate);
    device.start(options);
    appear();
    device.upload();
  }
  void appear() {
    window->setHidden(true);
    window->setHidden(false);
    device.drain();
  }
  template <class View>
  std::shared_ptr<View> place(std::shared_ptr<View> view, double y = 100) {
    view->setFrame(platform::CGRectMake(10, y, 100, 40));
    controller->view()->addSubview(view);
    return view;
  }
  void tap(platform::CGPoint point = {20, 20}) {
    input.touchBegan(1, point, window);
    input.touchEnded(1);
  }
  // The event entries of all messages of touches, gestures and field edits.
  std::vector<std::string> received() {
    device.upload();
    std::vector<std::string> events;
    for (const platform::Dictionary& message : device.receivedMessages()) {
      const std::string event = json(at(message, "event"));
      if (event.find("touchEvent") != std::string::npos) events.push_back(event);
    }
    return events;
  }

  SimulatedDevice device;
  std::shared_ptr<platform::UIWindow> window =
      platform::UIWindow::create(platform::CGRectMake(0, 0, 320, 480));
  std::shared_ptr<CartController> controller = std::make_shared<CartController>();
  std::shared_ptr<platform::UIButton> button = std::make_shared<platform::UIButton>("Pay");
  platform::UITouchInput input;
};
