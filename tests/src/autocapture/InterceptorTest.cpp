// From the fingers to the service: replaced methods, and what they leave to the app.

#include "platform/runtime/Method.h"
#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UITapGestureRecognizer.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaUtil.h"
#include "src/core/NSObject+KovaMethodSwizzling.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/UIApplication+EventInterceptor.h"
#include "src/core/tracker/UIGestureRecognizer+EventInterceptor.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

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

class InterceptorTest : public CaptureTest {};

const char* const kTouch =
    R"({"touchEvent":{"targetView":"UIButton","type":"touch","targetText":"Pay","targetA11yLabel":"Pay",)"
    R"("targetIvar":"payButton","targetSelector":"pay","viewAncestry":{"ancestry":[{"class":"UIApplication"},)"
    R"({"class":"UIWindow"},{"class":"CartController"},{"class":"UIView"},)"
    R"({"class":"UIButton","accessibilityLabel":"Pay"}]}},"appVisibilityState":2})";

TEST_F(InterceptorTest, ATapBecomesOneMessage) {
  start();
  tap();
  EXPECT_EQ(controller->payments, 1);
  EXPECT_THAT(received(), ElementsAre(kTouch));
}

TEST_F(InterceptorTest, AGestureAndAFieldEditBecomeOneEach) {
  const auto field = std::make_shared<UITextField>();
  field->setAccessibilityIdentifier("name");
  field->setText(String("Ada"));
  controller->view()->addSubview(field);
  start([](KovaOptions& options) { options.setEnableGestureAutocapture(true); });
  const auto recognizer =
      UIGestureRecognizer::create<UITapGestureRecognizer>(controller.get(), SEL("swiped:"));
  EXPECT_EQ(KOVA_initialAction(*recognizer)->str(), "swiped:");
  controller->view()->addGestureRecognizer(recognizer);
  recognizer->setState(UIGestureRecognizerState::Ended);
  recognizer->setState(UIGestureRecognizerState::Ended);
  const auto stubborn = UIGestureRecognizer::create<StubbornRecognizer>();
  EXPECT_EQ(KOVA_initialAction(*stubborn), std::nullopt);
  stubborn->setState(UIGestureRecognizerState::Ended);

  field->becomeFirstResponder();
  field->resignFirstResponder();
  EXPECT_THAT(
      received(),
      ElementsAre(
          R"({"touchEvent":{"targetView":"UIView","type":"UITapGestureRecognizer","targetText":"Pay",)"
          R"("targetSelector":"swiped"},"appVisibilityState":2})",
          R"({"touchEvent":{"targetView":"UITextField","type":"fieldedit","targetText":"",)"
          R"("targetA11yId":"name","viewAncestry":{"ancestry":[{"class":"UIApplication"},)"
          R"({"class":"UIWindow"},{"class":"CartController"},{"class":"UIView"},)"
          R"({"class":"UITextField","accessibilityIdentifier":"name"}]}},"appVisibilityState":2})"));
}

TEST_F(InterceptorTest, TheFirstActionOfATouchWinsAndRepeatsAreNotLookedAt) {
  start();
  const SEL first("_sendAction:withEvent:");
  const SEL second("pay:");
  input.touchBegan(1, {20, 20}, window);
  UIEvent event;
  event.addTouch(input.touchOf(1));
  EXPECT_FALSE(device.application->sendAction(first, controller.get(), button.get(), &event))
      << "never reported";
  EXPECT_EQ(KovaUtil::timeSinceLastSelector(NSStringFromSelector(first)), 0) << "noted all the same";
  EXPECT_FALSE(device.application->sendAction(second, controller.get(), button.get(), &event));
  EXPECT_EQ(controller->payments, 1) << "called, whatever the answer";
  const auto keyless = std::make_shared<KeylessSender>();
  EXPECT_FALSE(device.application->sendAction(SEL("other:"), controller.get(), keyless.get(), &event));
  device.advance(0.2);
  device.scheduler.setWallClock(NSDate());  // which changes nothing
  input.touchBegan(2, {25, 25}, window);    // 0.2 s after the same action: gets no name
  UIEvent repeated;
  repeated.addTouch(input.touchOf(2));
  device.application->sendAction(second, controller.get(), button.get(), &repeated);
  device.advance(0.001);
  input.touchBegan(3, {30, 30}, window);
  UIEvent late;
  late.addTouch(input.touchOf(3));
  device.application->sendAction(second, controller.get(), button.get(), &late);
  input.cancelAllTouches();
  const auto events = received();
  ASSERT_THAT(events, SizeIs(3));
  EXPECT_NE(events[0].find(R"("targetSelector":"pay")"), std::string::npos);
  EXPECT_EQ(events[1].find("targetSelector"), std::string::npos);
  EXPECT_NE(events[2].find(R"("targetSelector":"pay")"), std::string::npos);
}

TEST_F(InterceptorTest, AnActionWithoutTouchEnrichesWhatWaitsForItsControl) {
  const auto inner = std::make_shared<UIView>(CGRectMake(0, 0, 100, 40));
  button->addSubview(inner);
  start();
  input.touchBegan(1, {20, 20}, window);
  button->setAccessibilityIdentifier("late");
  button->setAccessibilityLabel("late");
  device.application->sendAction(SEL("pay:"), controller.get(), button.get(), nullptr);
  input.touchEnded(1);
  const auto events = received();
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_NE(events[0].find(R"("targetA11yLabel":"Pay","targetA11yId":"late")"), std::string::npos)
      << "what it had, it keeps";
  EXPECT_NE(events[0].find(R"("targetSelector":"pay")"), std::string::npos);
}

TEST_F(InterceptorTest, IgnoredDisabledAndBackgroundedTouchesAreNotRecorded) {
  KovaOptions* options = nullptr;
  start([&options](KovaOptions& started) {
    options = &started;
    options->setDisableAutocaptureWhenBackgrounded(true);
  });
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
  device.application->sendAction(SEL("pay:"), controller.get(), button.get(), nullptr);
  EXPECT_THAT(received(), IsEmpty());
  tap();
  const auto events = received();
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0].find("targetSelector"), std::string::npos) << "the control is hidden";

  setKovaIgnoreInnerHierarchy(*controller->view(), false);
  input.touchBegan(1, {20, 20}, window);
  options->setDisableTouchAutocapture(true);
  input.touchEnded(1);
  tap();
  const auto withOptionOff = received();
  ASSERT_THAT(withOptionOff, SizeIs(2));
  EXPECT_EQ(withOptionOff[1].find("targetSelector"), std::string::npos) << "its action came too late";
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
  controller->presentViewController(std::make_shared<CartController>(), false);
  device.advance(250);
  EXPECT_EQ(Kova::sessionId(), session);
}

TEST_F(InterceptorTest, ASnapshotIsKnownWhileItLasts) {
  start();
  const auto fail = [] {
    EXPECT_TRUE(KOVA_isCapturingSnapshot());
    throw std::runtime_error("of the app");
  };
  device.application->performSnapshotsWithAction(
      [&] {
        EXPECT_THROW(device.application->performSnapshotsWithAction(fail, nullptr, nullptr),
                     std::runtime_error);
        EXPECT_TRUE(KOVA_isCapturingSnapshot()) << "nested ones unwind";
      },
      nullptr, nullptr);
  EXPECT_FALSE(KOVA_isCapturingSnapshot());
}

TEST_F(InterceptorTest, ATouchOutlivesAnotherInitialization) {
  start();
  controller->onPay = [this] { device.start(); };
  tap();
  device.advance(1);
  Kova::track("What brings the new session its pageview");
  const auto events = received();
  ASSERT_THAT(events, testing::SizeIs(1));
  EXPECT_THAT(events[0], testing::HasSubstr(R"("targetSelector":"pay")"));

  controller->onPay = [this] { Kova::initialize("777", device.options()); };
  tap();
  device.drain();
  EXPECT_THAT(device.batchFiles(), testing::SizeIs(1)) << "stored for when its environment is used again";
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
  EXPECT_THAT(received(), ElementsAre(kTouch));
  EXPECT_TRUE(weak.expired());

  // So may the application, whom nobody but the test and the process itself keep.
  controller->onPay = [&] {
    UIApplication::setSharedApplication(nullptr);
    device.application.reset();
  };
  device.application->sendAction(SEL("pay:"), controller.get(), nullptr, nullptr);
  EXPECT_EQ(device.application, nullptr);
}

TEST_F(InterceptorTest, OptionsSayWhatIsReplaced) {
  static const SimulatedDevice* shaken = &device;
  UIApplication::motionEndedMethod.replace(
      UIApplication::classObject(), [](UIApplication&, SEL, UIEventSubtype, UIEvent*) {
        EXPECT_THAT(shaken->logLinesWith("Enabling Event Visualizer"), IsEmpty()) << "the app's comes first";
      });
  start([](KovaOptions& options) {
    options.setDisableTouchAutocapture(true);
    options.setEnableGestureAutocapture(true);
  });
  EXPECT_EQ(__KOVA_SendEvent_Orig, nullptr);
  EXPECT_EQ(__KOVA_SetState_Orig, nullptr);
  EXPECT_NE(__KOVA_MotionEndedWithEvent_Orig, nullptr);
  device.application->shake();
  EXPECT_THAT(device.logLinesWith("Enabling Event Visualizer"), SizeIs(1));

  KOVA_instrumentTouchAutocaptureOfApplication();
  const auto before = __KOVA_SendEvent_Orig;
  KOVA_instrumentTouchAutocaptureOfApplication();
  EXPECT_EQ(__KOVA_SendEvent_Orig, before);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());

  __KOVA_SetState_Orig = [](UIGestureRecognizer&, SEL, UIGestureRecognizerState) {};
  KOVA_instrumentTouchAutocaptureOfGestureRecognizers();
  EXPECT_EQ(__KOVA_InitWithTargetAction_Orig, nullptr);
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "UIGestureRecognizer/KOVA_instrumentTouchAutocapture");
  EXPECT_THAT(device.logLinesWith("MultipleSwizzleAttempt"), SizeIs(1));
}

TEST_F(InterceptorTest, AnActionBelongsToTheFingerOnItsControl) {
  startWhole();
  button->setAccessibilityLabel("Card 4111");
  setKovaRedactAccessibilityLabel(*button, true);
  setKovaRedactText(*button, true);
  const auto pad = place(std::make_shared<UIView>(CGRectMake(10, 100, 100, 40)));
  input.touchBegan(1, {20, 110}, window);
  input.touchBegan(2, {20, 20}, window);
  input.touchEnded(2);
  device.advance(1);
  input.touchEnded(1);

  const auto events = received();
  ASSERT_THAT(events, SizeIs(2));
  for (const std::string& event : events) {
    const bool isOfPad = event.find("\"targetView\":\"UIView\"") != std::string::npos;
    EXPECT_EQ(event.find("targetSelector") == std::string::npos, isOfPad) << event;
    EXPECT_EQ(event.find("4111"), std::string::npos) << event;
  }
}

TEST_F(InterceptorTest, ATouchOnAnotherViewTellsNoRedactedLabel) {
  startWhole();
  place(std::make_shared<UIView>(CGRectMake(10, 100, 100, 40)));
  const auto touchWithActionOfButton = [this] {
    input.touchBegan(1, {20, 110}, window);
    UIEvent event;
    event.addTouch(input.touchOf(1));
    button->sendActionsForControlEvents(UIControlEvents::TouchUpInside, &event);
    input.touchEnded(1);
    return received().back();
  };
  const auto label = [](const char* text) {
    return testing::HasSubstr(std::string(R"("targetA11yLabel":")") + text + R"(","targetSelector":"pay")");
  };
  button->setTitle("Card 4111");
  setKovaRedactAccessibilityLabel(*button->titleLabel(), true);
  EXPECT_THAT(touchWithActionOfButton(), label("****")) << "by the button's own label";
  setKovaRedactAccessibilityLabel(*button->titleLabel(), false);
  setKovaRedactAccessibilityLabel(*button, true);
  EXPECT_THAT(touchWithActionOfButton(), label("****"));
  button->setAccessibilityLabel("");
  EXPECT_THAT(touchWithActionOfButton(), label("")) << "an empty one stays empty";
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
