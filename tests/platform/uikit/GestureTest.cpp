#include <algorithm>
#include <stdexcept>

#include "platform/uikit/UIButton.h"
#include "platform/uikit/UILongPressGestureRecognizer.h"
#include "platform/uikit/UIPanGestureRecognizer.h"
#include "platform/uikit/UISwipeGestureRecognizer.h"
#include "platform/uikit/UITapGestureRecognizer.h"
#include "tests/platform/uikit/GestureFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using State = UIGestureRecognizerState;

namespace {

// Goes on together with every other.
class ToleratingPan : public UIPanGestureRecognizer {
  NS_OBJECT(ToleratingPan, UIPanGestureRecognizer)
 public:
  bool shouldRecognizeSimultaneouslyWith(const UIGestureRecognizer&) const override { return true; }
};

// Writes down the steps it is asked for.
class WatchedTap : public UITapGestureRecognizer {
  NS_OBJECT(WatchedTap, UITapGestureRecognizer)
 public:
  void setState(State state) override {
    asked.push_back(int(state));
    UITapGestureRecognizer::setState(state);
  }
  std::vector<int> asked;
};

class GestureTest : public GestureFixture {};

TEST_F(GestureTest, ATapActsOnLiftingAndTakesTheTouchFromItsView) {
  const auto tapping = recognizer<UITapGestureRecognizer>(*pad);
  down(10, 10);
  move(15, 15);
  const auto touch = input.touchOf(1);
  up();
  EXPECT_THAT(take(), ElementsAre("began 0", "moved 1", "act 3", "cancelled 4"));
  EXPECT_EQ(touch->phase(), UITouchPhase::Ended);
  EXPECT_EQ(tapping->state(), State::Possible);

  tapping->setCancelsTouchesInView(false);
  tap(100, 100);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "ended 3"));

  down(10, 10);
  move(30, 10);
  up();
  EXPECT_THAT(take(), ElementsAre("began 0", "moved 1", "ended 3")) << "moved too far";
  down(10, 10);
  input.cancelAllTouches();
  EXPECT_THAT(take(), ElementsAre("began 0", "cancelled 4"));
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
  const auto made = std::make_shared<UITapGestureRecognizer>();
  made->addTarget(pad.get(), SEL("act:"));
  made->addTarget(pad.get(), SEL("act:"));
  EXPECT_EQ(initialised, 1);
}

TEST_F(GestureTest, TapsOfSeveralTimesAndFingers) {
  const auto tapping = recognizer<UITapGestureRecognizer>(*pad);
  tapping->setNumberOfTapsRequired(2);
  tap(10, 10);
  scheduler.advance(0.1);
  EXPECT_THAT(take(), ElementsAre("began 0", "ended 3"));
  tap(12, 10);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4"));

  tapping->setNumberOfTapsRequired(1);
  tapping->setNumberOfTouchesRequired(2);
  scheduler.advance(5);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("began 0", "ended 3")) << "one finger";
  down(10, 10, 1);
  down(90, 10, 2);
  up(1);
  EXPECT_EQ(tapping->state(), State::Possible);
  up(2);
  EXPECT_THAT(take(), ElementsAre("began 0", "began 0", "ended 3", "act 3", "cancelled 4"));
}

TEST_F(GestureTest, ALongPressBeginsByTimeAloneAlsoWhileTracking) {
  const auto pressing = recognizer<UILongPressGestureRecognizer>(*pad);
  pressing->setNumberOfTouchesRequired(2);
  down(10, 10, 1);
  scheduler.advance(3);
  down(90, 10, 2);
  scheduler.mainRunLoop().setCurrentMode(RunLoopMode::Tracking);
  scheduler.advance(0.4);
  move(14, 14, 1);
  EXPECT_THAT(take(), ElementsAre("began 0", "began 0", "moved 1"));
  scheduler.advance(0.1);
  EXPECT_THAT(take(), ElementsAre("act 1", "cancelled 4", "cancelled 4"));
  EXPECT_EQ(input.touchOf(1)->phase(), UITouchPhase::Moved) << "the phase follows the finger again";
  move(60, 60, 1);
  up(2);
  up(1);
  EXPECT_THAT(take(), ElementsAre("act 2", "act 3"));
  EXPECT_EQ(pressing->state(), State::Possible);
}

TEST_F(GestureTest, ALongPressFailsByMovementAnEarlyLiftOrAFurtherFinger) {
  const auto pressing = recognizer<UILongPressGestureRecognizer>(*pad);
  pressing->setCancelsTouchesInView(false);
  const std::vector<std::function<void()>> spoil = {
      [&] { move(21, 10); }, [&] { up(); }, [&] { down(50, 50, 2); }, [&] { pressing->setEnabled(false); }};
  for (std::size_t i = 0; i < spoil.size(); ++i) {
    pressing->setEnabled(true);
    down(10, 10);
    scheduler.advance(0.4);
    spoil[i]();
    take();
    scheduler.advance(1);
    EXPECT_THAT(take(), IsEmpty()) << i;
    up(1);
    up(2);
    EXPECT_EQ(pressing->state(), State::Possible) << i;
    EXPECT_EQ(scheduler.pendingTimerCount(), 0u) << i;
    take();
  }
}

TEST_F(GestureTest, APanFollowsTheMiddleOfItsFingers) {
  const auto pan = recognizer<UIPanGestureRecognizer>(*pad);
  down(10, 10);
  move(16, 10);
  EXPECT_EQ(pan->state(), State::Possible);
  scheduler.advance(0.1);
  move(26, 10);
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{16, 0}));
  EXPECT_NEAR(pan->velocityInView(pad.get()).x, 100, 1e-6);
  down(100, 10, 2);
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{16, 0})) << "a finger that joins moves nothing";
  pan->setTranslation({0, 0}, pad.get());
  move(120, 30, 2);
  EXPECT_EQ(pan->translationInView(pad.get()), (CGPoint{10, 10}));
  up(1);
  EXPECT_EQ(pan->state(), State::Changed);
  scheduler.advance(1);
  target->onAction = [](UIGestureRecognizer& sender) {
    EXPECT_EQ(static_cast<UIPanGestureRecognizer&>(sender).velocityInView(nullptr), CGPoint{});
  };
  up(2);
  EXPECT_THAT(take(), ElementsAre("began 0", "moved 1", "act 1", "cancelled 4", "act 2", "act 3"));

  pan->setMaximumNumberOfTouches(1);
  down(10, 10, 1);
  down(20, 10, 2);
  move(90, 10, 1);
  EXPECT_EQ(pan->state(), State::Failed);
}

TEST_F(GestureTest, ASwipeIsQuickAndGoesOneWay) {
  const auto swipe = recognizer<UISwipeGestureRecognizer>(*pad);
  swipe->setDirection(UISwipeGestureRecognizerDirection::Left | UISwipeGestureRecognizerDirection::Up);
  swipe->setCancelsTouchesInView(false);
  const auto drag = [&](double dx, double dy, double seconds) {
    take();
    down(150, 150);
    for (int i = 1; i <= 4; ++i) {
      scheduler.advance(seconds / 4);
      move(150 + dx * i / 4, 150 + dy * i / 4);
    }
    up();
    return std::count(log.begin(), log.end(), "act 3");
  };
  EXPECT_EQ(drag(-80, 20, 0.2), 1);
  EXPECT_EQ(drag(10, -80, 0.2), 1);
  EXPECT_EQ(drag(80, 0, 0.2), 0);
  EXPECT_EQ(drag(-80, 0, 2), 0);
  EXPECT_EQ(drag(-30, 0, 0.2), 0);
}

TEST_F(GestureTest, TheFirstToRecogniseMakesTheOthersFail) {
  const auto inner = recognizer<UITapGestureRecognizer>(*pad);
  const auto outer = recognizer<UITapGestureRecognizer>(*window);
  const auto pan = recognizer<UIPanGestureRecognizer>(*window);
  const auto tolerating = recognizer<ToleratingPan>(*window);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4")) << "the innermost of two taps";

  down(10, 10);
  move(10, 30);
  EXPECT_EQ(inner->state(), State::Failed);
  EXPECT_EQ(outer->state(), State::Failed);
  EXPECT_EQ(pan->state(), State::Began);
  EXPECT_EQ(tolerating->state(), State::Began);
  // A finger that joins is the pan's, and nobody else's.
  take();
  down(50, 50, 2);
  up(2);
  EXPECT_THAT(take(), IsEmpty());
  up();
  EXPECT_EQ(inner->state(), State::Possible);
}

TEST_F(GestureTest, AControlKeepsItsTapFromTheViewsAround) {
  const auto button = std::make_shared<UIButton>(CGRectMake(0, 0, 50, 50));
  pad->addSubview(button);
  button->addTarget(target, SEL("press"), UIControlEvents::TouchUpInside);
  recognizer<UITapGestureRecognizer>(*pad);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("press"));
  const auto twice = recognizer<UITapGestureRecognizer>(*pad);
  twice->setNumberOfTapsRequired(2);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("act 3")) << "a double tap is the view's";
  recognizer<UITapGestureRecognizer>(*button);
  scheduler.advance(5);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("act 3")) << "the control's own recogniser wins";
}

TEST_F(GestureTest, StepsThatDoNotExistAreRefused) {
  const auto tapping = std::make_shared<WatchedTap>();
  const auto readsBack = [&](State asked) {
    tapping->setState(asked);
    return tapping->state();
  };
  EXPECT_EQ(readsBack(State::Changed), State::Possible);
  EXPECT_EQ(readsBack(State::Cancelled), State::Possible);
  EXPECT_EQ(readsBack(State::Began), State::Began);
  EXPECT_EQ(readsBack(State::Failed), State::Began);
  EXPECT_EQ(readsBack(State::Changed), State::Changed);
  EXPECT_EQ(readsBack(State::Cancelled), State::Cancelled);
  EXPECT_EQ(readsBack(State::Ended), State::Cancelled);
  // One that was let finish without a finger starts afresh with the next one, and what it had to say is past.
  pad->addGestureRecognizer(tapping);
  tapping->addTarget(target.get(), SEL("act:"));
  tapping->asked.clear();
  tap(10, 10);
  EXPECT_THAT(tapping->asked, ElementsAre(0, 3, 0));
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4"));
}

TEST_F(GestureTest, WhatAnActionThrowsPassesAndLeavesEverythingWhole) {
  const auto tapping = recognizer<UITapGestureRecognizer>(*pad);
  target->onAction = [](UIGestureRecognizer&) { throw std::runtime_error("app"); };
  down(10, 10);
  EXPECT_THROW(up(), std::runtime_error);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4"));
  EXPECT_EQ(tapping->state(), State::Possible);
  tapping->setCancelsTouchesInView(false);
  down(10, 200);
  EXPECT_THROW(up(), std::runtime_error);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "ended 3")) << "the view has its touch all the same";
  tapping->setCancelsTouchesInView(true);
  target->onAction = [](UIGestureRecognizer&) {};
  tap(200, 200);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4"));
}

TEST_F(GestureTest, FingersOfAnInputThatGoesAreCancelled) {
  auto going = std::make_unique<UITouchInput>();
  const std::weak_ptr<UIGestureRecognizer> tapping = recognizer<UITapGestureRecognizer>(*pad);
  const auto pan = recognizer<UIPanGestureRecognizer>(*pad);
  target->onAction = [](UIGestureRecognizer& sender) {
    if (sender.state() == State::Cancelled) throw std::runtime_error("app");
  };
  going->touchBegan(1, {10, 10}, window);
  going->touchBegan(2, {90, 10}, window);
  going->touchMoved(1, {10, 60});
  going.reset();
  EXPECT_THAT(take(), ElementsAre("began 0", "began 0", "act 1", "cancelled 4", "cancelled 4", "act 4"));
  const std::weak_ptr<UIView> view = pad;
  pad->removeFromSuperview();
  pad.reset();
  EXPECT_TRUE(view.expired()) << "no touch holds it";
  EXPECT_TRUE(tapping.expired());
}

TEST_F(GestureTest, AViewThatWantsOneFingerHearsOfOne) {
  pad->setMultipleTouchEnabled(false);
  down(10, 10, 1);
  down(90, 10, 2);
  move(90, 20, 2);
  up(1);
  up(2);
  EXPECT_THAT(take(), ElementsAre("began 0", "ended 3"));
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
  pad->setMultipleTouchEnabled(false);
  recognizer<UIPanGestureRecognizer>(*pad);
  recognizer<UITapGestureRecognizer>(*pad);
  down(10, 10);
  move(10, 40);
  deaf->hears = false;
  up();
  deaf->hears = true;
  tap(10, 10);
  EXPECT_THAT(take(),
              ElementsAre("began 0", "act 1", "cancelled 4", "act 4", "began 0", "act 3", "cancelled 4"));
}

TEST_F(GestureTest, ViewsRecognisersAndTargetsMayGoInTheirOwnAction) {
  target->onAction = [&](UIGestureRecognizer& sender) {
    pad->removeGestureRecognizer(sender);
    pad->removeFromSuperview();
    pad.reset();
    target.reset();
  };
  recognizer<UITapGestureRecognizer>(*pad);
  tap(10, 10);
  EXPECT_THAT(take(), ElementsAre("began 0", "act 3", "cancelled 4"));
  tap(10, 10);
  EXPECT_THAT(take(), IsEmpty());
}

}  // namespace
