// What the library is to the app and to others who work in it: not in the way, whatever they do.

#include "src/core/KIBailer.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

// What they throw is no std::exception: it is the app's own business.
class BrokenView : public UIView {
  NS_OBJECT(BrokenView, UIView)
 public:
  void touchesBegan(const Touches&, UIEvent*) override { throw 2; }
};
class BrokenScreen : public CartController {
  NS_OBJECT(BrokenScreen, CartController)
 public:
  void viewDidAppear(bool animated) override {
    CartController::viewDidAppear(animated);
    throw 3;
  }
};

// These fail only when somebody asks who would not without the library.
class UnreadableButton : public UIButton {
  NS_OBJECT(UnreadableButton, UIButton)
 public:
  std::optional<String> accessibilityLabel() const override { throw 1; }
};
class UnreadableRecognizer : public UITapGestureRecognizer {
  NS_OBJECT(UnreadableRecognizer, UITapGestureRecognizer)
 public:
  UIGestureRecognizerState state() const override { throw 1; }
};
class HostTest : public CaptureTest {};

TEST_F(HostTest, WhatTheAppThrowsItSeesUnchanged) {
  startWhole();
  controller->onPay = [] {
    EXPECT_NE(KOVA_sentEvent(), nullptr);
    throw 1;
  };
  place(std::make_shared<BrokenView>());
  place(std::make_shared<UIView>(), 200)
      ->addGestureRecognizer(
          UIGestureRecognizer::create<UITapGestureRecognizer>(controller.get(), SEL("pay:")));
  const auto presents = [this](const std::shared_ptr<UIViewController>& screen) {
    controller->presentViewController(screen, false, [] { throw 4; });
  };
  EXPECT_THAT([&] { tap(); }, Throws<int>(Eq(1)));
  EXPECT_EQ(KOVA_sentEvent(), nullptr);
  EXPECT_FALSE(button->isHighlighted());
  EXPECT_THAT([&] { tap({20, 110}); }, Throws<int>(Eq(2)));
  input.touchEnded(1);
  EXPECT_THAT([&] { tap({20, 210}); }, Throws<int>(Eq(1))) << "of the recogniser";
  EXPECT_THAT([&] { presents(std::make_shared<BrokenScreen>()); }, Throws<int>(Eq(3)));
  controller->dismissViewController(false);
  EXPECT_THAT([&] { presents(screen()); }, Throws<int>(Eq(4)));

  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_THAT(received(), SizeIs(4)) << "three touches and a gesture, all the same";
}

TEST_F(HostTest, AFailureInATouchIsRegisteredAndTheAppGoesOn) {
  startWhole();
  place(std::make_shared<UnreadableButton>())
      ->addTarget(controller, SEL("pay:"), UIControlEvents::TouchUpInside);
  tap({20, 110});
  tap({20, 110});
  EXPECT_EQ(controller->payments, 2);
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(),
            "KovaTracker/recordAutocapturedEventWithType:view:touch:selector:includeViewAncestry:");
  EXPECT_THAT(device.logLinesWith("caught an exception"), SizeIs(1));
}

TEST_F(HostTest, AFailureInAGestureIsRegisteredAndTheAppGoesOn) {
  startWhole();
  const auto recognizer = UIGestureRecognizer::create<UnreadableRecognizer>();
  recognizer->setState(UIGestureRecognizerState::Ended);
  EXPECT_EQ(recognizer->UIGestureRecognizer::state(), UIGestureRecognizerState::Ended);
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "UnreadableRecognizer/setState:");
}

TEST_F(HostTest, AClassThatForgotItsDeclarationIsToldOnce) {
  struct PinPad : UIView {};
  startWhole();
  place(std::make_shared<PinPad>());
  tap({20, 110});
  tap({20, 110});
  EXPECT_THAT(device.logLinesWith("NS_OBJECT"), ElementsAre(HasSubstr("PinPad is captured as UIView")));
}

TEST_F(HostTest, WhatDiesWhileItsEventsWaitIsFreedOnceTheyHaveLeft) {
  auto delegate = std::make_shared<Delegate>();
  startWhole(delegate);
  tap();
  auto fingers = std::make_unique<UITouchInput>();
  fingers->touchBegan(1, {20, 20}, window);
  const std::weak_ptr<NSObject> held[] = {button, window, fingers->touchOf(1)};
  const std::weak_ptr<UIViewController> weakScreen = controller;
  const std::weak_ptr<Delegate> weakDelegate = delegate;
  fingers.reset();
  delegate.reset();
  EXPECT_TRUE(weakDelegate.expired());
  window->setRootViewController(nullptr);
  window.reset();
  controller->payButton.reset();
  controller.reset();
  button.reset();
  EXPECT_TRUE(weakScreen.expired()) << "a pageview holds no screen";
  device.advance(9.9);
  for (const auto& weak : held) EXPECT_FALSE(weak.expired());
  device.advance(0.2);
  for (const auto& weak : held) EXPECT_TRUE(weak.expired());
  EXPECT_THAT(received(), SizeIs(2));
}

TEST_F(HostTest, WhatADelegateAnswersIsPassedOnOrRefused) {
  const auto delegate = std::make_shared<Delegate>();
  startWhole(delegate);
  delegate->touch = Dictionary{{7, "a key"}, {"targetText", Array{1, 2}}};
  for (const Dictionary& node : {Dictionary{{7, "a key"}}, {{"own", std::make_shared<NSObject>()}}, {}}) {
    delegate->node = node;
    tap();
  }
  EXPECT_EQ(controller->payments, 3);
  EXPECT_THAT(received(), ElementsAre(HasSubstr("\"targetText\":\"(\\n    1,\\n    2\\n)\"")));
  EXPECT_THAT(device.logLinesWith("Failed to serialize request body data to JSON"), SizeIs(2));
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

}  // namespace
