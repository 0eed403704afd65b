// What the library is to the app and to others who work in it: not in the way, whatever they do.

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>

#include "platform/uikit/UITapGestureRecognizer.h"
#include "src/core/KIBailer.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

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
  BrokenView() : UIView(CGRectMake(10, 100, 100, 40)) {}
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

class UnreadableScreen : public CartController {
  NS_OBJECT(UnreadableScreen, CartController)
 public:
  std::optional<String> title() const override { throw OfTheApp{1}; }
};

// Two classes of one name.
namespace shop {
template <class Base>
class Detail : public Base {
  NS_OBJECT(Detail, Base)
 public:
  using Base::Base;
};
}  // namespace shop
namespace account {
template <class Base>
class Detail : public Base {
  NS_OBJECT(Detail, Base)
 public:
  using Base::Base;
};
}  // namespace account

// Its chain of responders is a ring.
class RingView : public UIView {
  NS_OBJECT(RingView, UIView)
 public:
  RingView() : UIView(CGRectMake(10, 100, 100, 40)) {}
  UIResponder* nextResponder() const override { return const_cast<RingView*>(this); }
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

// Somebody else's replacement, which counts. The place tells several of one method apart.
template <auto& method, int place>
struct Others {
  static inline int calls = 0;

  static void install() { install(method); }

 private:
  template <class R, class Self, class... Args>
  static void install(Method<R(Self&, Args...)>& replaced) {
    static typename Method<R(Self&, Args...)>::Imp before;
    before = replaced.replace(Self::classObject(), [](Self& self, SEL selector, Args... args) -> R {
      ++calls;
      return before(self, selector, std::forward<Args>(args)...);
    });
  }
};

template <int place>
struct Party {
  using SendEvent = Others<UIApplication::sendEventMethod, place>;
  using SendAction = Others<UIApplication::sendActionMethod, place>;
  using DidAppear = Others<UIViewController::viewDidAppearMethod, place>;
  using SetState = Others<UIGestureRecognizer::setStateMethod, place>;

  static void install() {
    SendEvent::install();
    SendAction::install();
    DidAppear::install();
    SetState::install();
  }
  static std::vector<int> takeCalls() {
    return {std::exchange(SendEvent::calls, 0), std::exchange(SendAction::calls, 0),
            std::exchange(DidAppear::calls, 0), std::exchange(SetState::calls, 0)};
  }
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
  EXPECT_EQ(numberThrownBy([&] { tap(); }), 1);
  EXPECT_EQ(KOVA_sentEvent(), nullptr);
  EXPECT_FALSE(button->isHighlighted());
  const auto view = place(std::make_shared<BrokenView>());
  EXPECT_EQ(numberThrownBy([&] { input.touchBegan(1, {20, 110}, window); }), 2);
  input.touchEnded(1);
  const auto screen = std::make_shared<BrokenScreen>();
  EXPECT_EQ(numberThrownBy([&] { controller->presentViewController(screen, false); }), 3);
  controller->dismissViewController(false);

  const auto fieldDelegate = std::make_shared<BrokenFieldDelegate>();
  const auto field = place(std::make_shared<UITextField>());
  field->setDelegate(fieldDelegate);
  field->becomeFirstResponder();
  EXPECT_EQ(numberThrownBy([&] { field->resignFirstResponder(); }), 4);
  field->setDelegate({});
  field->resignFirstResponder();

  const auto pad = place(std::make_shared<UIView>(CGRectMake(10, 200, 100, 40)));
  pad->addGestureRecognizer(
      UIGestureRecognizer::create<UITapGestureRecognizer>(controller.get(), SEL("pay:")));
  EXPECT_EQ(numberThrownBy([&] { tap({20, 210}); }), 1);
  EXPECT_EQ(numberThrownBy([&] {
              controller->presentViewController(std::make_shared<CartController>(), false,
                                                [] { throw OfTheApp{5}; });
            }),
            5);

  EXPECT_EQ(exceptionsLogged(), 0u);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_THAT(received(), SizeIs(5)) << "three touches, a gesture and a field edit, all the same";
}

TEST_F(HostTest, ClassesMayShareTheirName) {
  startWhole();
  const auto view = place(std::make_shared<account::Detail<UIControl>>(CGRectMake(10, 200, 100, 40)));
  view->addTarget(nullptr, SEL("pay:"), UIControlEvents::TouchUpInside);
  shop::Detail<UIView>::classObject();
  EXPECT_NO_THROW(tap({20, 210}));
  EXPECT_NO_THROW(
      controller->presentViewController(std::make_shared<shop::Detail<UIViewController>>(), false));
  controller->dismissViewController(false);
  EXPECT_NO_THROW(
      controller->presentViewController(std::make_shared<account::Detail<UIViewController>>(), false));
  EXPECT_THAT(received(), ElementsAre(HasSubstr(R"("targetView":"Detail")")));
  EXPECT_THAT(device.receivedTargets("/h").back(), HasSubstr("&h=Detail&"));
  EXPECT_THAT(device.logLinesWith("more than one class named Detail"), SizeIs(3));
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

TEST_F(HostTest, AClassThatForgotItsDeclarationIsToldOnce) {
  struct PinPad : UIView {
    using UIView::UIView;
  };
  startWhole();
  place(std::make_shared<PinPad>(CGRectMake(10, 200, 100, 40)));
  tap({20, 210});
  tap({20, 210});
  EXPECT_THAT(device.logLinesWith("NS_OBJECT"), ElementsAre(HasSubstr("PinPad is captured as UIView")));
}

TEST_F(HostTest, AFailureInATouchIsRegisteredAndTheAppGoesOn) {
  startWhole();
  const auto unreadable = place(std::make_shared<UnreadableButton>());
  unreadable->setFrame(CGRectMake(10, 100, 100, 40));
  unreadable->addTarget(controller, SEL("pay:"), UIControlEvents::TouchUpInside);
  tap({20, 110});
  expectQuietSince("KovaTracker/recordAutocapturedEventWithType:view:touch:selector:includeViewAncestry:");
  EXPECT_EQ(controller->payments, 1);
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

TEST_F(HostTest, AFailureInAPageviewIsRegisteredAndTheAppGoesOn) {
  startWhole();
  const auto screen = std::make_shared<UnreadableScreen>();
  controller->presentViewController(screen, false);
  expectQuietSince("KovaTracker/recordAutocapturedPageviewWithViewController:");
  EXPECT_TRUE(screen->isViewAppeared());
}

TEST_F(HostTest, OthersWhoReplaceTheSameMethodsAreCalledOnce) {
  Party<0>::install();
  const auto pad = place(std::make_shared<UIView>(CGRectMake(10, 200, 100, 40)));
  pad->addGestureRecognizer(UIGestureRecognizer::create<UITapGestureRecognizer>());
  for (int start = 1; start <= 2; ++start) {
    startWhole();
    if (start == 1) Party<1>::install();
    Party<0>::takeCalls();
    Party<1>::takeCalls();
    tap();
    appear();
    tap({20, 210});
    EXPECT_EQ(controller->payments, start);
    // Four changes of touches, one action, one screen; Ended, then Possible.
    EXPECT_THAT(Party<0>::takeCalls(), ElementsAre(4, 1, 1, 2));
    EXPECT_THAT(Party<1>::takeCalls(), ElementsAre(4, 1, 1, 2));
    EXPECT_THAT(received(), SizeIs(3 * start));
  }
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

TEST_F(HostTest, WhatDiesWhileItsEventsWaitIsFreedOnceTheyHaveLeft) {
  auto delegate = std::make_shared<Delegate>();
  startWhole(delegate);
  tap();
  auto fingers = std::make_unique<UITouchInput>();
  fingers->touchBegan(1, {20, 20}, window);
  const std::weak_ptr<UITouch> touch = fingers->touchOf(1);
  fingers.reset();
  const std::weak_ptr<NSObject> held[] = {button, window, touch};
  const std::weak_ptr<UIViewController> screen = controller;
  const std::weak_ptr<Delegate> weakDelegate = delegate;
  delegate.reset();
  EXPECT_TRUE(weakDelegate.expired());
  window->setRootViewController(nullptr);
  window.reset();
  controller->payButton.reset();
  controller.reset();
  button.reset();
  EXPECT_TRUE(screen.expired()) << "a pageview holds no screen";
  for (const auto& weak : held) EXPECT_FALSE(weak.expired());

  device.advance(10.1);
  for (const auto& weak : held) EXPECT_TRUE(weak.expired());
  EXPECT_THAT(received(), SizeIs(2));
}

TEST_F(HostTest, ATrackerThatIsReplacedHandsOnWhatWaits) {
  startWhole();
  const std::weak_ptr<KovaTracker> tracker = KovaTracker::sharedTracker();
  input.touchBegan(1, {20, 20}, window);
  const std::weak_ptr<UITouch> touch = input.touchOf(1);
  input.touchEnded(1);
  startWhole();
  EXPECT_TRUE(tracker.expired());
  EXPECT_TRUE(touch.expired());
  tap();
  EXPECT_THAT(received(), SizeIs(2));
}

TEST_F(HostTest, ARingOfRespondersIsBounded) {
  startWhole();
  place(std::make_shared<RingView>());
  tap({20, 110});
  const std::vector<std::string> events = received();
  ASSERT_THAT(events, SizeIs(1));
  std::size_t nodes = 0;
  for (std::size_t at = 0; (at = events[0].find("\"class\"", at)) != std::string::npos; ++at) ++nodes;
  EXPECT_EQ(nodes, 30u);
}

TEST_F(HostTest, WhatADelegateAnswersIsPassedOnOrRefused) {
  const auto delegate = std::make_shared<Delegate>();
  startWhole(delegate);
  delegate->touch = Dictionary{{7, "a key"}, {"targetText", Array{1, 2}}, {"targetIvar", 1.5}};
  tap();
  delegate->touch = Dictionary{{"targetText", nullptr}, {"targetView", nullptr}, {"targetSelector", nullptr}};
  delegate->node = Dictionary{{"class", nullptr}, {"accessibilityLabel", nullptr}};
  tap();
  delegate->touch.reset();
  for (const Dictionary& bad :
       {Dictionary{{7, "a key"}}, Dictionary{{"own", std::make_shared<NSObject>()}}}) {
    delegate->node = bad;
    tap();
  }
  MutableDictionary huge;
  for (int i = 0; i < 20'000; ++i) huge.append("key" + std::to_string(i), i);
  delegate->node = Dictionary(std::move(huge));
  tap();
  delegate->node.reset();
  tap();
  EXPECT_EQ(controller->payments, 6);

  const auto events = received();
  ASSERT_THAT(events, SizeIs(4));
  EXPECT_THAT(events[0], HasSubstr("\"targetText\":\"(\\n    1,\\n    2\\n)\""));
  EXPECT_THAT(events[0], HasSubstr(R"("targetIvar":"1.5")"));
  EXPECT_THAT(events[1], HasSubstr(R"("targetView":"UIButton","type":"touch","targetText":"Pay")"));
  EXPECT_THAT(events[1],
              AllOf(HasSubstr(R"("class":"UIButton","accessibilityLabel":"Pay")"), Not(HasSubstr("null"))));
  EXPECT_THAT(events[2], HasSubstr(R"("key19999":19999)"));
  EXPECT_THAT(events[3], HasSubstr(R"("targetText":"Pay")"));
  EXPECT_THAT(device.logLinesWith("Failed to serialize request body data to JSON"), SizeIs(2));
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
}

}  // namespace
