// From the fingers to the service: replaced methods, and what they leave to the app.

#include "platform/runtime/Method.h"
#include "src/core/KIBailer.h"
#include "src/core/NSObject+KovaMethodSwizzling.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/core/tracker/UIApplication+EventInterceptor.h"
#include "src/core/tracker/UIGestureRecognizer+EventInterceptor.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

// Refuses to end.
class StubbornRecognizer : public UITapGestureRecognizer {
  NS_OBJECT(StubbornRecognizer, UITapGestureRecognizer)
 public:
  UIGestureRecognizerState state() const override { return UIGestureRecognizerState::Possible; }
};

// Answers a selector that none of its keys stands behind.
class KeylessSender : public NSObject {
  NS_OBJECT(KeylessSender, NSObject)
 public:
  bool respondsToSelector(SEL selector) const override {
    return selector == SEL("accessibilityIdentifier") || NSObject::respondsToSelector(selector);
  }
};

constexpr const char* kSelector = R"("targetSelector":"pay")";

class InterceptorTest : public CaptureTest {
 protected:
  void start() { device.startAndSettle(options); }
  // The app answers false, whatever the action answers.
  void act(SEL action, NSObject* sender, UIEvent* event) {
    EXPECT_FALSE(device.application->sendAction(action, controller.get(), sender, event));
  }
  void actWithFinger(int finger, SEL action, NSObject* sender) {
    UIEvent event;
    event.addTouch(input.touchOf(finger));
    act(action, sender, &event);
  }

  const std::shared_ptr<KovaOptions> options = device.options();
};

TEST_F(InterceptorTest, AGestureAndAFieldEditBecomeOneMessageEach) {
  const auto field = place(std::make_shared<UITextField>());
  field->setAccessibilityIdentifier("name");
  field->setText(String("Ada"));
  options->setEnableGestureAutocapture(true);
  start();
  const auto recognizer =
      UIGestureRecognizer::create<UITapGestureRecognizer>(controller.get(), SEL("swiped:"));
  controller->view()->addGestureRecognizer(recognizer);
  const auto stubborn = UIGestureRecognizer::create<StubbornRecognizer>();
  EXPECT_EQ(KOVA_initialAction(*stubborn), std::nullopt);
  recognizer->setState(UIGestureRecognizerState::Ended);
  recognizer->setState(UIGestureRecognizerState::Ended);
  stubborn->setState(UIGestureRecognizerState::Ended);
  field->becomeFirstResponder();
  field->resignFirstResponder();
  EXPECT_THAT(
      received(),
      ElementsAre(
          R"({"touchEvent":{"targetView":"UIView","type":"UITapGestureRecognizer","targetText":"Pay",)"
          R"("targetSelector":"swiped"},"appVisibilityState":2})",
          HasSubstr(R"("type":"fieldedit","targetText":"","targetA11yId":"name","viewAncestry":{"ancestry":[)"
                    R"({"class":"UIApplication"},{"class":"UIWindow"},)")));
}

TEST_F(InterceptorTest, TheFirstActionWinsAndRepeatsAreNotLookedAt) {
  start();
  input.touchBegan(1, {20, 20}, window);
  const SEL neverReported("_sendAction:withEvent:");
  actWithFinger(1, neverReported, button.get());
  EXPECT_EQ(KovaUtil::timeSinceLastSelector(NSStringFromSelector(neverReported)), 0) << "noted all the same";
  actWithFinger(1, SEL("pay:"), button.get());
  EXPECT_EQ(controller->payments, 1);
  const auto keyless = std::make_shared<KeylessSender>();
  actWithFinger(1, SEL("other:"), keyless.get());
  device.advance(0.2);
  device.scheduler.setWallClock(NSDate());  // which changes nothing
  input.touchBegan(2, {25, 25}, window);
  actWithFinger(2, SEL("pay:"), button.get());
  device.advance(0.001);
  input.touchBegan(3, {30, 30}, window);
  actWithFinger(3, SEL("pay:"), button.get());
  input.cancelAllTouches();
  EXPECT_THAT(received(),
              ElementsAre(HasSubstr(kSelector), Not(HasSubstr("targetSelector")), HasSubstr(kSelector)))
      << "0.2 s after the same action there is no name";

  // Without a touch it is for what waits for its control.
  button->addSubview(std::make_shared<UIView>(CGRectMake(0, 0, 100, 40)));
  input.touchBegan(1, {20, 20}, window);
  button->setAccessibilityIdentifier("late");
  button->setAccessibilityLabel("late");
  act(SEL("pay:"), button.get(), nullptr);
  input.touchEnded(1);
  EXPECT_THAT(received().back(),
              AllOf(HasSubstr(R"("targetA11yLabel":"Pay","targetA11yId":"late")"), HasSubstr(kSelector)))
      << "what it had, it keeps";
}

TEST_F(InterceptorTest, IgnoredDisabledAndBackgroundedTouchesAreNotRecorded) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  start();
  setKovaIgnore(*controller, true);
  tap();
  setKovaIgnore(*controller, false);
  Kova::setTrackingEnabled(false);
  tap();
  Kova::setTrackingEnabled(true);
  device.application->enterBackground();
  tap();
  device.application->enterForeground();
  setKovaIgnoreInnerHierarchy(*controller->view(), true);
  act(SEL("pay:"), button.get(), nullptr);
  EXPECT_THAT(received(), IsEmpty());
  tap();
  EXPECT_THAT(received(), ElementsAre(Not(HasSubstr("targetSelector")))) << "the control is hidden";

  setKovaIgnoreInnerHierarchy(*controller->view(), false);
  input.touchBegan(1, {20, 20}, window);
  options->setDisableTouchAutocapture(true);
  input.touchEnded(1);
  tap();
  EXPECT_THAT(received(), AllOf(SizeIs(2), Each(Not(HasSubstr("targetSelector")))))
      << "its action came too late";
  EXPECT_EQ(controller->payments, 7) << "the app got them all";
}

TEST_F(InterceptorTest, TouchesActionsAndScreensExtendTheSession) {
  startWhole();
  const auto session = Kova::sessionId();
  device.advance(250);
  input.touchBegan(1, {20, 20}, window);
  device.advance(250);
  input.touchEnded(1);
  device.advance(250);
  controller->presentViewController(screen(), false);
  device.advance(250);
  EXPECT_EQ(Kova::sessionId(), session);
}

TEST_F(InterceptorTest, ATouchOutlivesAnotherInitializationButNotItsUser) {
  start();
  const std::weak_ptr<KovaTracker> tracker = KovaTracker::sharedTracker();
  input.touchBegan(1, {20, 20}, window);
  const std::weak_ptr<UITouch> touch = input.touchOf(1);
  controller->onPay = [this] { device.start(); };
  input.touchEnded(1);
  device.advance(1);
  Kova::track("What brings the new session its pageview");
  EXPECT_THAT(received(), ElementsAre(HasSubstr(kSelector)));
  EXPECT_TRUE(tracker.expired() && touch.expired());

  controller->onPay = [this] {
    EXPECT_TRUE(Kova::eraseStored(SimulatedDevice::kEnvironment));
    device.start();
  };
  tap();
  device.advance(1);
  Kova::track("What brings the new session its pageview");
  EXPECT_THAT(received(), SizeIs(1)) << "erased with what was stored of its user";

  controller->onPay = [this] { Kova::initialize("777", device.options()); };
  tap();
  device.drain();
  EXPECT_THAT(device.batchFiles(), SizeIs(1)) << "stored for when its environment is used again";
}

TEST_F(InterceptorTest, WhatTheQueuesHaveNoRoomForIsCounted) {
  const Array full(std::vector<platform::Value>(200, "h?n=1"));
  const Dictionary batch{{"messagesIdentifier", "1"}};
  device.store("queuedPageviews", full);
  device.store("queuedMessageBatches", Array(std::vector<platform::Value>(200, batch)));
  device.setOnline(false);
  device.start();
  tap();
  device.advance(1);
  EXPECT_EQ(Kova::status().events.refused, 1u);
  EXPECT_EQ(Kova::status().requests.refused, 1u) << "the pageview that the touch asks for";
  Kova::track("Event");
  device.drain();
  EXPECT_EQ(Kova::status().events.accepted, 2u);
  Kova::shutdown(0);
  EXPECT_EQ(Kova::status().events.refused, 2u);
  Kova::eraseStored(SimulatedDevice::kEnvironment);
  EXPECT_EQ(Kova::status().events.refused, 0u);
}

TEST_F(InterceptorTest, AControlMayGoInItsAction) {
  start();
  const std::weak_ptr<UIButton> weak = controller->payButton;
  controller->onPay = [&] {
    button->removeFromSuperview();
    controller->payButton = nullptr;
    button.reset();
  };
  tap();
  EXPECT_EQ(controller->payments, 1);
  EXPECT_THAT(received(), ElementsAre(AllOf(HasSubstr(R"("targetIvar":"payButton")"), HasSubstr(kSelector))));
  EXPECT_TRUE(weak.expired());

  // So may the application, whom nobody but the test and the process itself keep.
  controller->onPay = [&] {
    UIApplication::setSharedApplication(nullptr);
    device.application.reset();
  };
  act(SEL("pay:"), nullptr, nullptr);
  EXPECT_EQ(device.application, nullptr);
}

TEST_F(InterceptorTest, OptionsSayWhatIsReplaced) {
  static const SimulatedDevice* shaken = &device;
  UIApplication::motionEndedMethod.replace(
      UIApplication::classObject(), [](UIApplication&, SEL, UIEventSubtype, UIEvent*) {
        EXPECT_THAT(shaken->logLinesWith("Enabling Event Visualizer"), IsEmpty()) << "the app's comes first";
      });
  options->setDisableTouchAutocapture(true);
  options->setEnableGestureAutocapture(true);
  start();
  EXPECT_EQ(__KOVA_SendEvent_Orig, nullptr);
  EXPECT_EQ(__KOVA_SetState_Orig, nullptr);
  device.application->shake();
  EXPECT_THAT(device.logLinesWith("Enabling Event Visualizer"), SizeIs(1));

  KOVA_instrumentTouchAutocaptureOfApplication();
  KOVA_instrumentTouchAutocaptureOfApplication();
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());

  __KOVA_SetState_Orig = [](UIGestureRecognizer&, SEL, UIGestureRecognizerState) {};
  KOVA_instrumentTouchAutocaptureOfGestureRecognizers();
  EXPECT_EQ(__KOVA_InitWithTargetAction_Orig, nullptr);
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "UIGestureRecognizer/KOVA_instrumentTouchAutocapture");
  EXPECT_THAT(device.logLinesWith("MultipleSwizzleAttempt"), SizeIs(1));
}

TEST_F(InterceptorTest, AnActionBelongsToTheFingerOnItsControlAndTellsNoRedactedLabel) {
  startWhole();
  button->setAccessibilityLabel("Card 4111");
  setKovaRedactAccessibilityLabel(*button, true);
  setKovaRedactText(*button, true);
  place(std::make_shared<UIView>());
  input.touchBegan(1, {20, 110}, window);
  input.touchBegan(2, {20, 20}, window);
  input.touchEnded(2);
  device.advance(1);
  input.touchEnded(1);
  EXPECT_THAT(
      received(),
      UnorderedElementsAre(AllOf(HasSubstr("\"UIButton\""), HasSubstr(kSelector), Not(HasSubstr("4111"))),
                           AllOf(HasSubstr(R"("targetView":"UIView")"), Not(HasSubstr("targetSelector")))));

  // Nor where it reaches a touch on another view, which is not redacted.
  const auto touchWithActionOf = [this](const std::shared_ptr<UIView>& sender) {
    input.touchBegan(1, {20, 110}, window);
    actWithFinger(1, SEL("pay:"), sender.get());
    input.touchEnded(1);
    return received().back();
  };
  const auto isRedacted = HasSubstr(R"("targetA11yLabel":"****")");
  EXPECT_THAT(touchWithActionOf(button), isRedacted);
  setKovaRedactAccessibilityLabel(*button, false);
  setKovaRedactAccessibilityLabel(*button->titleLabel(), true);
  EXPECT_THAT(touchWithActionOf(button), isRedacted);
  button->setAccessibilityLabel("");
  EXPECT_THAT(touchWithActionOf(button), HasSubstr(R"("targetA11yLabel":"")")) << "an empty one stays empty";
  const auto card = place(std::make_shared<UIView>(), 200);
  card->setAccessibilityLabel("Card 4111");
  setKovaRedactAccessibilityLabel(*card, true);
  EXPECT_THAT(touchWithActionOf(card), isRedacted) << "of a sender that is no control";
}

TEST_F(InterceptorTest, ReplacingAnswersTheImplementationBefore) {
  static Method<int(NSObject&)> method{NSObject::classObject, "answer", [](NSObject&, SEL) { return 1; }};
  const auto two = [](NSObject&, SEL) { return 2; };
  const auto before = KOVA_replaceInstanceSelector(NSObject::classObject(), method, two);
  EXPECT_EQ(before(*controller, method.selector()), 1);
  EXPECT_EQ(method.invoke(*controller), 2);
  EXPECT_EQ(KOVA_replaceInstanceSelector(NSObject::classObject(), method, two), nullptr);
  EXPECT_EQ(KOVA_replaceMethod<int(NSObject&)>(nullptr, NSObject::classObject(), two), nullptr);
}

}  // namespace
