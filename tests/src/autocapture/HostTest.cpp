// What the library is to the app and to others who work in it: not in the way, whatever they do.

#include "src/core/KIBailer.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

// No std::exception: what an app throws is its own business.
struct OfTheApp {
  int number;
};

template <class Work>
int numberThrownBy(Work work) {
  try {
    work();
  } catch (const OfTheApp& thrown) {
    return thrown.number;
  }
  return 0;
}

class BrokenView : public UIView {
  NS_OBJECT(BrokenView, UIView)
 public:
  void touchesBegan(const Touches&, UIEvent*) override { throw OfTheApp{2}; }
};
class BrokenScreen : public CartController {
  NS_OBJECT(BrokenScreen, CartController)
 public:
  void viewDidAppear(bool animated) override {
    CartController::viewDidAppear(animated);
    throw OfTheApp{3};
  }
};
struct BrokenFieldDelegate : UITextFieldDelegate {
  bool textFieldShouldEndEditing(UITextField&) override { throw OfTheApp{4}; }
};

// These fail only when somebody asks who would not without the library.
class UnreadableButton : public UIButton {
  NS_OBJECT(UnreadableButton, UIButton)
 public:
  std::optional<String> accessibilityLabel() const override { throw OfTheApp{1}; }
};
class UnreadableRecognizer : public UITapGestureRecognizer {
  NS_OBJECT(UnreadableRecognizer, UITapGestureRecognizer)
 public:
  UIGestureRecognizerState state() const override { throw OfTheApp{1}; }
};
struct Delegate : KovaAutocaptureEnrichmentDelegate {
  using Answer = std::optional<Dictionary>;
  Answer autocaptureTouchEventPropertiesForEventType(std::string_view, UIView&, UITouch*,
                                                     UIControl*) override {
    return touch;
  }
  Answer autocaptureAncestryNodePropertiesForResponder(UIResponder&) override { return node; }
  Answer touch, node;
};

class HostTest : public CaptureTest {
 protected:
  void expectQuietSince(std::string_view source) const {
    EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), source);
    EXPECT_EQ(exceptionsLogged(), 1u);
  }
  std::size_t exceptionsLogged() const { return device.logLinesWith("caught an exception").size(); }
};

TEST_F(HostTest, WhatTheAppThrowsItSeesUnchanged) {
  startWhole();
  controller->onPay = [] {
    EXPECT_NE(KOVA_sentEvent(), nullptr);
    throw OfTheApp{1};
  };
  place(std::make_shared<BrokenView>());
  place(std::make_shared<UIView>(), 200)
      ->addGestureRecognizer(
          UIGestureRecognizer::create<UITapGestureRecognizer>(controller.get(), SEL("pay:")));
  const auto fieldDelegate = std::make_shared<BrokenFieldDelegate>();
  const auto field = place(std::make_shared<UITextField>(), 300);
  field->setDelegate(fieldDelegate);
  field->becomeFirstResponder();
  const auto presents = [this](const std::shared_ptr<UIViewController>& screen) {
    controller->presentViewController(screen, false, [] { throw OfTheApp{5}; });
  };
  EXPECT_EQ(numberThrownBy([&] { field->resignFirstResponder(); }), 4);
  field->setDelegate({});
  field->resignFirstResponder();
  EXPECT_EQ(numberThrownBy([&] { tap(); }), 1);
  EXPECT_EQ(KOVA_sentEvent(), nullptr);
  EXPECT_FALSE(button->isHighlighted());
  EXPECT_EQ(numberThrownBy([&] { tap({20, 110}); }), 2);
  input.touchEnded(1);
  EXPECT_EQ(numberThrownBy([&] { tap({20, 210}); }), 1) << "of the recogniser";
  EXPECT_EQ(numberThrownBy([&] { presents(std::make_shared<BrokenScreen>()); }), 3);
  controller->dismissViewController(false);
  EXPECT_EQ(numberThrownBy([&] { presents(screen()); }), 5);

  EXPECT_EQ(exceptionsLogged(), 0u);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_THAT(received(), SizeIs(5)) << "three touches, a gesture and a field edit, all the same";
}

TEST_F(HostTest, AFailureInATouchIsRegisteredAndTheAppGoesOn) {
  startWhole();
  place(std::make_shared<UnreadableButton>())
      ->addTarget(controller, SEL("pay:"), UIControlEvents::TouchUpInside);
  tap({20, 110});
  expectQuietSince("KovaTracker/recordAutocapturedEventWithType:view:touch:selector:includeViewAncestry:");
  tap({20, 110});
  EXPECT_EQ(controller->payments, 2);
  EXPECT_EQ(exceptionsLogged(), 1u);
}

TEST_F(HostTest, AFailureInAGestureIsRegisteredAndTheAppGoesOn) {
  startWhole();
  const auto recognizer = UIGestureRecognizer::create<UnreadableRecognizer>();
  recognizer->setState(UIGestureRecognizerState::Ended);
  expectQuietSince("UnreadableRecognizer/setState:");
  EXPECT_EQ(recognizer->UIGestureRecognizer::state(), UIGestureRecognizerState::Ended);
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
  MutableDictionary huge;
  for (int i = 0; i < 20'000; ++i) huge.append("key" + std::to_string(i), i);
  const Dictionary nodes[] = {{{7, "a key"}}, {{"own", std::make_shared<NSObject>()}}, Dictionary(huge), {}};
  for (const Dictionary& node : nodes) {
    delegate->node = node;
    tap();
  }
  EXPECT_EQ(controller->payments, 4);
  EXPECT_THAT(received(), ElementsAre(HasSubstr(R"("key19999":19999)"),
                                      HasSubstr("\"targetText\":\"(\\n    1,\\n    2\\n)\"")));
  EXPECT_THAT(device.logLinesWith("Failed to serialize request body data to JSON"), SizeIs(2));
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

}  // namespace
