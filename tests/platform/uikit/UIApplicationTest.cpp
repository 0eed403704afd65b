#include <limits>
#include <stdexcept>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "platform/uikit/InstallUIKit.h"
#include "tests/platform/uikit/UIKitFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

class UIApplicationTest : public UIKitTest {
 protected:
  UIApplicationTest() {
    installUIKit();
    story.between = "; ";
  }

  std::shared_ptr<Probe> probe(std::string name, CGRect frame, UIView& parent) {
    auto view = std::make_shared<Probe>(story, frame, std::move(name));
    parent.addSubview(view);
    return view;
  }
  // Tells "ApplicationDidBecomeActive 0" with the application's state.
  void listenTo(std::initializer_list<std::string_view> names) {
    for (const std::string_view name : names) {
      NSNotificationCenter::defaultCenter().addObserver(name, [this](const NSNotification& notification) {
        const std::string& full = notification.name;
        story.tell(full.substr(2, full.size() - std::string("UINotification").size()) + " " +
                   std::to_string(int(application->applicationState())));
      });
    }
  }
  void listenToTheApplication() {
    listenTo({UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
              UIApplicationDidBecomeActiveNotification, UIApplicationWillResignActiveNotification});
  }
};

TEST_F(UIApplicationTest, EveryFingerIsInEveryEventAndAViewGetsTheFirstUnlessItWantsMore) {
  const auto window = shownWindow();
  const auto one = probe("one", CGRectMake(0, 0, 100, 100), *window);
  const auto many = probe("many", CGRectMake(100, 0, 100, 100), *window);
  many->setMultipleTouchEnabled(true);
  EXPECT_EQ(after("down 10 10"), "one began 1 of began");
  input.touchOf(1)->addObserver(listener, "phase", nullptr);
  EXPECT_EQ(after("2 down 20 20"), "phase=2");
  EXPECT_EQ(after("3 down 110 10"), "phase=2; many began 1 of stationary stationary began");
  EXPECT_EQ(after("4 down 120 10"), "phase=2; many began 1 of stationary stationary stationary began");
  EXPECT_EQ(after("4 move 0 0"), "phase=2; many moved 1 of stationary stationary stationary moved");
  // The second finger stays unknown to the view when the first is lifted, and a lifted one is not reported
  // again.
  EXPECT_EQ(after("up"), "phase=3; one ended 1 of ended stationary stationary stationary");
  EXPECT_EQ(after("2 move 21 21"), "");
  EXPECT_EQ(after("cancel"), "many cancelled 2 of cancelled cancelled cancelled");
  EXPECT_EQ(input.touchOf(2), nullptr);
}

TEST_F(UIApplicationTest, ATouchFollowsItsViewOutOfTheTreeAndCountsTaps) {
  auto window = shownWindow();
  window->setFrame(CGRectMake(50, 0, 300, 300));
  auto view = probe("view", CGRectMake(100, 100, 50, 50), *window);
  after("down 160 110");
  const auto touch = input.touchOf(1);
  EXPECT_EQ(touch->locationInView(view.get()), (CGPoint{10, 10}));
  after("move 170 115");
  EXPECT_EQ(touch->locationInView(nullptr), (CGPoint{120, 115}));
  view->removeFromSuperview();
  view.reset();
  EXPECT_EQ(after("up"), "view ended 1 of ended");

  after("wait 0.2, down 165 110");
  EXPECT_EQ(input.touchOf(1)->tapCount(), 2);
  EXPECT_EQ(input.touchOf(1)->view(), window);
  after("up, wait 1, down 165 110");
  EXPECT_EQ(input.touchOf(1)->tapCount(), 1);
}

TEST_F(UIApplicationTest, WindowsAreHitByLevelThenByLatestShowing) {
  const auto below = shownWindow(), alert = shownWindow(UIWindowLevelAlert), latest = shownWindow(),
             hidden = UIWindow::create();
  alert->setFrame(CGRectMake(0, 0, 50, 50));
  const auto hit = [&](CGPoint point) {
    input.touchBegan(1, point);
    return input.touchOf(1)->window();
  };
  EXPECT_EQ(hit({10, 10}), alert);
  EXPECT_EQ(hit({60, 60}), latest);
  below->setHidden(true);
  below->setHidden(false);
  EXPECT_EQ(hit({60, 60}), below);
  EXPECT_EQ(hit({1000, 10}), nullptr);
  EXPECT_EQ(input.touchOf(1)->view(), nullptr);
  latest->makeKeyAndVisible();
  EXPECT_EQ(hit({60, 60}), latest) << "in front again";
  EXPECT_THAT(application->windows(), ElementsAre(hidden, below, latest, alert)) << "back to front";
}

TEST_F(UIApplicationTest, AKeyWindowThatLeavesHandsOverToOneThatIsShown) {
  const auto app = shownWindow();
  auto overlay = shownWindow(), second = shownWindow();
  overlay->makeKeyWindow();
  overlay->setHidden(true);
  EXPECT_EQ(application->keyWindow(), second) << "the one that was key before";
  overlay->setHidden(false);
  overlay->makeKeyWindow();
  second->setHidden(true);
  overlay->setHidden(true);
  EXPECT_EQ(application->keyWindow(), app) << "the one before is hidden already";
  // Dead ones hand over, too, and not to one that cannot be key.
  class Banner : public UIWindow {
    NS_OBJECT(Banner, UIWindow)
   public:
    Banner() : UIWindow(CGRectMake(0, 0, 100, 20)) {}
    bool canBecomeKeyWindow() const override { return false; }
  };
  const auto banner = std::make_shared<Banner>();
  banner->setHidden(false);
  EXPECT_THAT(application->windows(), testing::Contains(banner)) << "joins when it is shown";
  auto dying = shownWindow();
  listenTo({UIWindowDidBecomeKeyNotification});
  dying.reset();
  EXPECT_EQ(application->keyWindow(), app);
  EXPECT_EQ(told(), "WindowDidBecomeKey 0");
  overlay->setHidden(false);
  after("down 200 200");
  EXPECT_EQ(application->keyWindow(), overlay) << "a touch makes its window the key one";
}

TEST_F(UIApplicationTest, EachSceneHasItsKeyWindowAndTheMostActiveOneIsTheApplications) {
  const auto left = std::make_shared<UIWindowScene>(), right = std::make_shared<UIWindowScene>();
  application->connectScene(left);
  application->connectScene(right);
  const auto a = UIWindow::create(left), b = UIWindow::create(right), c = UIWindow::create(right);
  for (const auto& window : {a, b, c}) window->makeKeyAndVisible();
  EXPECT_THAT((std::vector{left->keyWindow(), right->keyWindow(), application->keyWindow()}),
              ElementsAre(a, c, c));
  EXPECT_THAT(application->connectedScenes(), ElementsAre(right, left)) << "the one in use first";
  b->makeKeyAndVisible();
  a->makeKeyWindow();
  EXPECT_EQ(application->keyWindow(), a) << "of two active scenes the one used last";
  EXPECT_THAT(application->connectedScenes(), ElementsAre(left, right));
  EXPECT_THAT(right->windows(), ElementsAre(c, b));
  left->deactivate();
  EXPECT_EQ(application->keyWindow(), b) << "that of the active scene";
  EXPECT_TRUE(a->isKeyWindow());
  application->disconnectScene(*right);
  EXPECT_EQ(application->keyWindow(), a);
  // A window that moves stays key, and its scene keeps one.
  b->setWindowScene(left);
  EXPECT_THAT((std::vector{left->keyWindow(), right->keyWindow()}), ElementsAre(b, c));
}

TEST_F(UIApplicationTest, TheApplicationFollowsTheMostActiveOfItsScenes) {
  listenToTheApplication();
  const auto one = std::make_shared<UIWindowScene>(), other = std::make_shared<UIWindowScene>();
  application->connectScene(one);
  application->connectScene(other);
  one->enterBackground();
  EXPECT_EQ(told(), "") << "the other is active";
  other->enterBackground();
  EXPECT_EQ(told(), "ApplicationWillResignActive 0; ApplicationDidEnterBackground 2");
  one->activate();
  EXPECT_EQ(told(), "ApplicationWillEnterForeground 1; ApplicationDidBecomeActive 0");
  EXPECT_EQ(other->activationState(), UISceneActivationState::Background);
  one->deactivate();
  application->disconnectScene(*one);
  EXPECT_EQ(told(), "ApplicationWillResignActive 0; ApplicationDidEnterBackground 2");
}

TEST_F(UIApplicationTest, WhatAHandlerThrowsReachesTheCallerAndNothingIsLeftHalfDone) {
  const auto window = shownWindow();
  const auto view = probe("view", CGRectMake(0, 0, 100, 100), *window);
  const auto other = probe("other", CGRectMake(100, 0, 100, 100), *window);
  for (const char* line : {"view began 1 of began", "view cancelled 1 of cancelled cancelled"}) {
    story.reactions[line] = [] { throw std::runtime_error("from the app"); };
  }
  EXPECT_THROW(after("down 10 10"), std::runtime_error);
  after("2 down 110 10");
  EXPECT_THROW(after("cancel"), std::runtime_error);
  EXPECT_EQ(told(), "view cancelled 1 of cancelled cancelled; other cancelled 1 of cancelled cancelled");
  EXPECT_EQ(after("down 10 10"), "view began 1 of began");
}

TEST_F(UIApplicationTest, AnActionWithoutTargetIsSearchedAlongAChainThatMayBeARing) {
  const auto window = shownWindow();
  const auto outer = probe("outer", CGRectMake(0, 0, 100, 100), *window);
  const auto inner = std::make_shared<UIView>();
  outer->addSubview(inner);
  const auto sends = [&](NSObject* target, UIView* sender, const char* action = "note") {
    return application->sendAction(SEL(action), target, sender, nullptr);
  };
  EXPECT_TRUE(sends(nullptr, inner.get()));
  EXPECT_TRUE(sends(outer.get(), nullptr));
  EXPECT_FALSE(sends(inner.get(), nullptr));
  EXPECT_FALSE(sends(nullptr, nullptr));
  outer->isEditable = true;
  outer->becomeFirstResponder();
  EXPECT_TRUE(sends(nullptr, nullptr));
  EXPECT_EQ(told(), "outer acted; outer acted; outer acted");

  outer->next = inner.get();
  EXPECT_FALSE(sends(nullptr, inner.get(), "unheard of"));
  inner->setFrame(CGRectMake(0, 0, 100, 100));
  application->shake();  // ends nowhere, but ends
}

TEST_F(UIApplicationTest, AnActionThatIsNotCalledIsALineInTheLog) {
  SystemLog::setSink([this](std::string_view line) { story.tell(std::string(line)); });
  const auto shop = std::make_shared<Probe>(story, CGRect{}, "shop");
  const auto button = std::make_shared<UIButton>("Open");
  const struct {
    std::shared_ptr<UIControl> sender;
    const char* action;
    std::shared_ptr<Probe> target;
    const char* line;
  } cases[] = {
      {button, "open:", shop, "shop opened"},
      {button, "opne:", shop, "<Probe: .*> has no action \"opne:\", sent by <UIButton: .*>"},
      {button, "opne:", nullptr, ".*No responder in the chain has an action \"opne:\".*"},
      {std::make_shared<UIControl>(), "open:", shop, ".*takes another sender or event than <UIControl: .*"}};
  for (const auto& [sender, action, target, line] : cases) {
    sender->addTarget(target, SEL(action), UIControlEvents::ValueChanged);
    sender->sendActionsForControlEvents(UIControlEvents::ValueChanged);
    sender->removeTarget(target.get(), SEL(action), UIControlEvents::ValueChanged);
    EXPECT_THAT(told(), testing::MatchesRegex(line));
  }
  SystemLog::setSink(nullptr);
}

TEST_F(UIApplicationTest, ShakingStartsAtTheFirstResponderWhichMayRefuseToGiveWay) {
  static int ends = 0;
  UIApplication::motionEndedMethod.replace(UIApplication::classObject(),
                                           [](UIApplication&, SEL, UIEventSubtype motion, UIEvent*) {
                                             ends += motion == UIEventSubtype::MotionShake;
                                           });
  application->shake();
  const auto window = shownWindow();
  application->shake();
  const auto a = probe("a", {}, *window), b = probe("b", {}, *window);
  a->isEditable = b->isEditable = a->isStubborn = true;
  EXPECT_TRUE(a->becomeFirstResponder());
  EXPECT_FALSE(b->becomeFirstResponder());
  EXPECT_TRUE(a->isFirstResponder());
  application->shake();
  EXPECT_EQ(ends, 3);
}

TEST_F(UIApplicationTest, ScenesFollowTheApplicationAndArePicturedInTheBackground) {
  listenToTheApplication();
  listenTo({UISceneWillEnterForegroundNotification, UISceneDidActivateNotification,
            UISceneWillDeactivateNotification, UISceneDidEnterBackgroundNotification});
  const auto scene = std::make_shared<UIWindowScene>(CGRectMake(0, 0, 20, 10));
  const auto absurd =
      std::make_shared<UIWindowScene>(CGRectMake(0, 0, 1e300, std::numeric_limits<double>::quiet_NaN()));
  ASSERT_TRUE(application->connectScene(scene));
  const auto window = UIWindow::create(scene);
  window->setBackgroundColor(UIColor::systemRed());
  window->setHidden(false);
  const auto stray = UIWindow::create();
  EXPECT_THAT(application->windows(), ElementsAre(window));
  EXPECT_EQ(told(), "SceneWillEnterForeground 0; SceneDidActivate 0");
  application->enterBackground();
  EXPECT_EQ(told(),
            "SceneWillDeactivate 0; ApplicationWillResignActive 0; SceneDidEnterBackground 2; "
            "ApplicationDidEnterBackground 2");
  ASSERT_NE(scene->snapshot(), nullptr);
  EXPECT_EQ(scene->snapshot()->colorAtPixel(19, 9), UIColor::systemRed());
  application->enterForeground();
  EXPECT_EQ(told(),
            "SceneWillEnterForeground 1; ApplicationWillEnterForeground 1; SceneDidActivate 0; "
            "ApplicationDidBecomeActive 0");

  application->connectScene(absurd);
  application->enterBackground();
  EXPECT_EQ(absurd->snapshot(), nullptr);
  told();
  EXPECT_FALSE(application->performSnapshotsWithAction([&] { story.tell("action"); }, absurd.get(),
                                                       [&] { story.tell("completion"); }));
  EXPECT_EQ(told(), "action; completion");
}

TEST_F(UIApplicationTest, ASystemBeforeThirteenHasNoScenes) {
  NSProcessInfo::processInfo().setOperatingSystemVersionString("12.4");
  const auto scene = std::make_shared<UIWindowScene>();
  EXPECT_FALSE(application->connectScene(scene));
  EXPECT_THAT(application->connectedScenes(), IsEmpty());
  const auto window = UIWindow::create(scene);
  EXPECT_EQ(window->windowScene(), nullptr);
  EXPECT_THAT(application->windows(), ElementsAre(window));
  EXPECT_EQ(window->nextResponder(), application.get());
}
