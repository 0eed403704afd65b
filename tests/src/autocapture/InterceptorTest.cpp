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
  // The app answers false, whatever the action answers.
  void act(SEL action, NSObject* sender, UIEvent* event) {
    EXPECT_FALSE(device.application->sendAction(action, controller.get(), sender, event));
  }
  void actWithFinger(int finger, SEL action, NSObject* sender) {
    UIEvent event;
    event.addTouch(input.touchOf(finger));
    act(action, sender, &event);
  }
  std::size_t touchesLogged() const { return device.logLinesWith("  : touch\n").size(); }
};

TEST_F(InterceptorTest, AGestureAndAFieldEditBecomeOneMessageEach) {
  const auto field = place(std::make_shared<UITextField>());
  field->setAccessibilityIdentifier("name");
  field->setText(String("Ada"));
  start([](KovaOptions& options) { options.setEnableGestureAutocapture(true); });
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
          R"({"touchEvent":{"targetView":"UITextField","type":"fieldedit","targetText":"",)"
          R"("targetA11yId":"name","viewAncestry":{"ancestry":[{"class":"UIApplication"},)"
          R"({"class":"UIWindow"},{"class":"CartController"},{"class":"UIView"},)"
          R"({"class":"UITextField","accessibilityIdentifier":"name"}]}},"appVisibilityState":2})"));
}

TEST_F(InterceptorTest, TheFirstActionOfATouchWinsAndRepeatsAreNotLookedAt) {
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
}

TEST_F(InterceptorTest, AnActionWithoutTouchEnrichesWhatWaitsForItsControl) {
  button->addSubview(std::make_shared<UIView>(CGRectMake(0, 0, 100, 40)));
  start();
  input.touchBegan(1, {20, 20}, window);
  button->setAccessibilityIdentifier("late");
  button->setAccessibilityLabel("late");
  act(SEL("pay:"), button.get(), nullptr);
  input.touchEnded(1);
  EXPECT_THAT(received(), ElementsAre(AllOf(HasSubstr(R"("targetA11yLabel":"Pay","targetA11yId":"late")"),
                                            HasSubstr(kSelector))))
      << "what it had, it keeps";
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
  const std::function<void()> uses[] = {[&] {
                                          input.touchBegan(1, {20, 20}, window);
                                        },
                                        [&] { input.touchEnded(1); },
                                        [&] { controller->presentViewController(screen(), false); }};
  for (const auto& use : uses) {
    device.advance(250);
    use();
  }
  device.advance(250);
  EXPECT_EQ(Kova::sessionId(), session);
}

TEST_F(InterceptorTest, WhileAScrollViewIsDraggedNothingLeavesTheCache) {
  startWhole();
  const auto list = place(UIScrollView::create(CGRectMake(10, 100, 200, 200)));
  list->setFrame(CGRectMake(10, 100, 200, 200));
  list->setContentSize({200, 2000});
  list->addSubview(std::make_shared<UIButton>("Row"));
  list->subviews().front()->setFrame(CGRectMake(0, 0, 200, 200));
  tap();
  input.touchBegan(1, {50, 250}, window);
  input.touchMoved(1, {50, 200});
  ASSERT_TRUE(list->isDragging());
  device.advance(12);
  EXPECT_EQ(touchesLogged(), 0u);
  input.touchMoved(1, {50, 150});
  input.touchEnded(1);
  device.drain();
  device.advance(0.24);
  EXPECT_EQ(touchesLogged(), 1u);
  device.advance(0.02);
  EXPECT_EQ(touchesLogged(), 2u) << "taken from its button, but lifted";
}

TEST_F(InterceptorTest, ASnapshotIsKnownWhileItLasts) {
  start();
  const auto snapshot = [this](const std::function<void()>& action) {
    device.application->performSnapshotsWithAction(action, nullptr, nullptr);
  };
  snapshot([&] {
    EXPECT_THROW(snapshot([] { throw std::runtime_error("of the app"); }), std::runtime_error);
    EXPECT_TRUE(KOVA_isCapturingSnapshot()) << "nested ones unwind";
  });
  EXPECT_FALSE(KOVA_isCapturingSnapshot());
}

TEST_F(InterceptorTest, ATouchOutlivesAnotherInitialization) {
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

  controller->onPay = [this] { Kova::initialize("777", device.options()); };
  tap();
  device.drain();
  EXPECT_THAT(device.batchFiles(), SizeIs(1)) << "stored for when its environment is used again";
}

TEST_F(InterceptorTest, ATouchIsErasedWithItsUser) {
  start();
  controller->onPay = [this] {
    EXPECT_TRUE(Kova::eraseStored(SimulatedDevice::kEnvironment));
    device.start();
  };
  tap();
  device.advance(1);
  Kova::track("What brings the new session its pageview");
  EXPECT_THAT(received(), IsEmpty());
}

TEST_F(InterceptorTest, WhatTheQueuesHaveNoRoomForIsCounted) {
  std::vector<platform::Value> urls, batches;
  for (int i = 0; i < 200; ++i) {
    urls.emplace_back("h?n=" + std::to_string(i));
    batches.emplace_back(Dictionary{{"messagesIdentifier", std::to_string(i)}});
  }
  device.store("queuedPageviews", Array(std::move(urls)));
  device.store("queuedMessageBatches", Array(std::move(batches)));
  device.setOnline(false);
  device.start();
  tap();
  device.advance(1);
  EXPECT_EQ(Kova::status().events.refused, 1u);
  EXPECT_EQ(Kova::status().requests.refused, 1u) << "the pageview that the touch asks for";
  EXPECT_EQ(device.stored("queuedPageviews")->array().size(), 200u);
  Kova::track("Event");
  device.drain();
  EXPECT_EQ(Kova::status().events.refused, 2u);
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
  EXPECT_THAT(
      received(),
      ElementsAre(
          R"({"touchEvent":{"targetView":"UIButton","type":"touch","targetText":"Pay","targetA11yLabel":"Pay",)"
          R"("targetIvar":"payButton","targetSelector":"pay","viewAncestry":{"ancestry":[{"class":"UIApplication"},)"
          R"({"class":"UIWindow"},{"class":"CartController"},{"class":"UIView"},)"
          R"({"class":"UIButton","accessibilityLabel":"Pay"}]}},"appVisibilityState":2})"));
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
  start([](KovaOptions& options) {
    options.setDisableTouchAutocapture(true);
    options.setEnableGestureAutocapture(true);
  });
  EXPECT_EQ(__KOVA_SendEvent_Orig, nullptr);
  EXPECT_EQ(__KOVA_SetState_Orig, nullptr);
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
  const auto labelOfTouchWithActionOf = [this](const std::shared_ptr<UIView>& sender) {
    input.touchBegan(1, {20, 110}, window);
    actWithFinger(1, SEL("pay:"), sender.get());
    input.touchEnded(1);
    const std::string event = received().back();
    const std::size_t begin = event.find("targetA11yLabel") + 18;
    return event.substr(begin, event.find('"', begin) - begin);
  };
  EXPECT_EQ(labelOfTouchWithActionOf(button), "****");
  setKovaRedactAccessibilityLabel(*button, false);
  setKovaRedactAccessibilityLabel(*button->titleLabel(), true);
  EXPECT_EQ(labelOfTouchWithActionOf(button), "****") << "by the button's own label";
  button->setAccessibilityLabel("");
  EXPECT_EQ(labelOfTouchWithActionOf(button), "") << "an empty one stays empty";
  const auto card = place(std::make_shared<UIView>(), 200);
  card->setAccessibilityLabel("Card 4111");
  setKovaRedactAccessibilityLabel(*card, true);
  EXPECT_EQ(labelOfTouchWithActionOf(card), "****") << "of a sender that is no control";
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
