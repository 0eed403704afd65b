#include <stdexcept>
#include <vector>

#include "tests/platform/uikit/UIKitFixture.h"

using namespace platform;
using State = UIGestureRecognizerState;
using GestureTest = PadTest;

namespace {

const std::function<void()> kThrow = [] { throw std::runtime_error("app"); };

TEST_F(GestureTest, ATapActsOnLiftingAndTakesTheTouchFromItsView) {
  auto tapping = recognizer<UITapGestureRecognizer>(*pad);
  const struct {
    int taps, fingers;
    const char* deeds;
    const char* told;
  } cases[] = {{1, 1, "down 10 10, move 15 15, up", "began moved act:3 cancelled"},
               {1, 1, "down 10 10, move 30 10, up", "began moved ended"},  // too far
               {2, 1, "tap 10 10, wait 0.1, tap 12 10", "began ended began act:3 cancelled"},
               {1, 2, "tap 10 10", "began ended"},
               {1, 2, "down 10 10, 2 down 90 10, up, 2 up", "began began ended act:3 cancelled"}};
  for (const auto& [taps, fingers, deeds, expected] : cases) {
    tapping->setNumberOfTapsRequired(taps);
    tapping->setNumberOfTouchesRequired(fingers);
    EXPECT_EQ(after(deeds), expected) << deeds;
    EXPECT_EQ(tapping->state(), State::Possible) << deeds;
    scheduler.advance(5);
  }
  tapping->setNumberOfTouchesRequired(1);
  story.reactions["act:3"] = kThrow;
  EXPECT_THROW(after("tap 10 10"), std::runtime_error);
  EXPECT_EQ(told(), "began act:3 cancelled") << "the view hears all the same";
  EXPECT_EQ(tapping->state(), State::Possible);
  scheduler.advance(5);
  story.reactions["act:3"] = [&] {
    pad->removeGestureRecognizer(*std::exchange(tapping, nullptr));
    pad->removeFromSuperview();
    pad.reset();
    listener.reset();
  };
  EXPECT_EQ(after("tap 10 10, tap 10 10"), "began act:3 cancelled") << "all of them go in their own action";
}

TEST_F(GestureTest, ItsFirstTargetInitialisesARecogniserThatNobodyDid) {
  static int initialised = 0;
  static decltype(UIGestureRecognizer::initWithTargetMethod)::Imp original = nullptr;
  original = UIGestureRecognizer::initWithTargetMethod.replace(
      UIGestureRecognizer::classObject(),
      [](UIGestureRecognizer& self, SEL selector, NSObject* firstTarget, SEL action) {
        ++initialised;
        return original(self, selector, firstTarget, action);
      });
  UITapGestureRecognizer made;
  for (int i = 0; i < 2; ++i) made.addTarget(pad.get(), SEL("act:"));
  EXPECT_EQ(initialised, 1);
}

TEST_F(GestureTest, ALongPressBeginsByTimeAloneAlsoWhileTracking) {
  const auto pressing = recognizer<UILongPressGestureRecognizer>(*pad);
  pressing->setNumberOfTouchesRequired(2);
  after("down 10 10, wait 3, 2 down 90 10");
  scheduler.mainRunLoop().setCurrentMode(RunLoopMode::Tracking);
  EXPECT_EQ(after("wait 0.4, move 14 14"), "moved");
  EXPECT_EQ(after("wait 0.1"), "act:1 cancelled cancelled");
  EXPECT_EQ(input.touchOf(1)->phase(), UITouchPhase::Moved) << "the phase follows the finger again";
  EXPECT_EQ(after("move 60 60, 2 up, up"), "act:2 act:3");
  EXPECT_EQ(pressing->state(), State::Possible);
}

TEST_F(GestureTest, ALongPressFailsByMovementAnEarlyLiftAFurtherFingerOrDisabling) {
  const auto pressing = recognizer<UILongPressGestureRecognizer>(*pad);
  pressing->setCancelsTouchesInView(false);
  for (const std::string spoiling : {"move 21 10", "up", "2 down 50 50", ""}) {
    SCOPED_TRACE(spoiling);
    pressing->setEnabled(true);
    after("down 10 10, wait 0.4, " + spoiling);
    if (spoiling.empty()) pressing->setEnabled(false);
    EXPECT_EQ(after("wait 1"), "");
    after("up, 2 up");
    EXPECT_EQ(pressing->state(), State::Possible);
    EXPECT_EQ(scheduler.pendingTimerCount(), 0u);
  }
}

TEST_F(GestureTest, APanFollowsTheMiddleOfItsFingers) {
  const auto pan = recognizer<UIPanGestureRecognizer>(*pad);
  EXPECT_EQ(after("down 10 10, move 16 10, wait 0.1"), "began moved");
  EXPECT_EQ(after("move 26 10"), "act:1 cancelled");
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{16, 0}));
  after("2 down 100 10");
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{16, 0})) << "a finger that joins moves nothing";
  EXPECT_EQ(after("2 move 120 30, up, wait 1"), "act:2");
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{26, 10}));
  EXPECT_EQ(after("2 up"), "act:3");

  pan->setMaximumNumberOfTouches(1);
  after("down 10 10, 2 down 20 10, move 90 10");
  EXPECT_EQ(pan->state(), State::Failed);
}

TEST_F(GestureTest, ASwipeIsQuickAndGoesOneWay) {
  const auto swipe = recognizer<UISwipeGestureRecognizer>(*pad);
  swipe->setDirection(UISwipeGestureRecognizerDirection::Left | UISwipeGestureRecognizerDirection::Up);
  for (const auto& [movement, expected] : {std::pair("move 110 160, wait 0.2, move 70 170", "act:3"),
                                           {"move 155 110, wait 0.2, move 160 70", "act:3"},
                                           {"move 190 150, wait 0.2, move 230 150", ""},
                                           {"move 110 150, wait 2, move 70 150", ""},
                                           {"move 135 150, wait 0.2, move 120 150", ""}}) {
    const std::string whole = after(std::string("down 150 150, ") + movement + ", up");
    EXPECT_EQ(whole.find("act:3") != std::string::npos, *expected != '\0') << movement << ": " << whole;
  }
}

// Goes on together with every other.
class ToleratingPan : public UIPanGestureRecognizer {
  NS_OBJECT(ToleratingPan, UIPanGestureRecognizer)
 public:
  bool shouldRecognizeSimultaneouslyWith(const UIGestureRecognizer&) const override { return true; }
};

TEST_F(GestureTest, TheFirstToRecogniseMakesTheOthersFail) {
  const auto inner = recognizer<UITapGestureRecognizer>(*pad);
  const auto outer = recognizer<UITapGestureRecognizer>(*window);
  const auto pan = recognizer<UIPanGestureRecognizer>(*window);
  const auto tolerating = recognizer<ToleratingPan>(*window);
  EXPECT_EQ(after("tap 10 10"), "began act:3 cancelled") << "the innermost of two taps";
  after("down 10 10, move 10 30");
  EXPECT_THAT((std::vector{inner->state(), outer->state(), pan->state(), tolerating->state()}),
              testing::ElementsAre(State::Failed, State::Failed, State::Began, State::Began));
  EXPECT_EQ(after("2 down 50 50, 2 up"), "") << "a finger that joins is the pan's, and nobody else's";
  after("up");
  EXPECT_EQ(inner->state(), State::Possible);
}

TEST_F(GestureTest, AControlKeepsItsTapFromTheViewsAround) {
  const auto button = std::make_shared<UIButton>(CGRectMake(0, 0, 50, 50));
  pad->addSubview(button);
  button->addTarget(listener, SEL("up:"), UIControlEvents::TouchUpInside);
  recognizer<UITapGestureRecognizer>(*pad);
  EXPECT_EQ(after("tap 10 10"), "up:");
  recognizer<UITapGestureRecognizer>(*pad)->setNumberOfTapsRequired(2);
  EXPECT_EQ(after("tap 10 10"), "act:3") << "a double tap is the view's";
  recognizer<UITapGestureRecognizer>(*button);
  EXPECT_EQ(after("wait 5, tap 10 10"), "act:3") << "the control's own recogniser wins";
}

// Keeps the steps it is asked for.
class WatchedTap : public UITapGestureRecognizer {
  NS_OBJECT(WatchedTap, UITapGestureRecognizer)
 public:
  void setState(State state) override {
    asked.push_back(int(state));
    UITapGestureRecognizer::setState(state);
  }
  std::vector<int> asked;
};

TEST_F(GestureTest, StepsThatDoNotExistAreRefused) {
  const auto tapping = recognizer<WatchedTap>(*pad);
  for (const auto& [asked, state] : {std::pair(State::Changed, State::Possible),
                                     {State::Cancelled, State::Possible},
                                     {State::Began, State::Began},
                                     {State::Failed, State::Began},
                                     {State::Changed, State::Changed},
                                     {State::Cancelled, State::Cancelled},
                                     {State::Ended, State::Cancelled}}) {
    tapping->setState(asked);
    EXPECT_EQ(tapping->state(), state);
  }
  told();
  tapping->asked.clear();
  EXPECT_EQ(after("tap 10 10"), "began act:3 cancelled")
      << "one that was finished without a finger starts afresh";
  EXPECT_THAT(tapping->asked, testing::ElementsAre(0, 3, 0));
}

TEST_F(GestureTest, FingersOfAnInputThatGoesAreCancelled) {
  auto going = std::make_unique<UITouchInput>();
  const std::weak_ptr<UIGestureRecognizer> tapping = recognizer<UITapGestureRecognizer>(*pad);
  const auto pan = recognizer<UIPanGestureRecognizer>(*pad);
  story.reactions["act:4"] = kThrow;
  going->touchBegan(1, {10, 10}, window);
  going->touchBegan(2, {90, 10}, window);
  going->touchMoved(1, {10, 60});
  going.reset();
  EXPECT_EQ(told(), "began began act:1 cancelled cancelled act:4");
  const std::weak_ptr<UIView> view = pad;
  pad->removeFromSuperview();
  pad.reset();
  EXPECT_TRUE(view.expired() && tapping.expired()) << "no touch holds them";
}

TEST_F(GestureTest, ALiftThatTheAppSwallowsIsMadeUpFor) {
  class Deaf : public UIApplication {
   public:
    void sendEvent(UIEvent& event) override {
      if (hears) UIApplication::sendEvent(event);
    }
    bool hears = true;
  };
  const auto deaf = std::make_shared<Deaf>();
  UIApplication::setSharedApplication(deaf);
  window = shownWindow();
  window->addSubview(pad);
  pad->setMultipleTouchEnabled(false);
  recognizer<UIPanGestureRecognizer>(*pad);
  recognizer<UITapGestureRecognizer>(*pad);
  EXPECT_EQ(after("down 10 10, move 10 40"), "began act:1 cancelled");
  deaf->hears = false;
  EXPECT_EQ(after("up"), "");
  deaf->hears = true;
  EXPECT_EQ(after("tap 10 10"), "act:4 began act:3 cancelled");
}

}  // namespace
