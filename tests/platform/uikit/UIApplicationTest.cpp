#include "platform/uikit/UIApplication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UITouchInput.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

using namespace platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

using Log = std::vector<std::string>;

constexpr const char* kPhases[] = {"began", "moved", "stationary", "ended", "cancelled"};

// Notes what it is told, with the phases of all fingers in the event.
class Probe : public UIView {
  NS_OBJECT(Probe, UIView)

 public:
  Probe(CGRect frame, Log& log, std::string name) : UIView(frame), log_(log), name_(std::move(name)) {}
  static void describe(ClassBuilder<Probe>& c) { c.action("note", &Probe::note); }

  std::function<void()> onTouch;
  UIResponder* next = nullptr;
  bool isEditable = false;
  bool isStubborn = false;

  UIResponder* nextResponder() const override { return next ? next : UIView::nextResponder(); }
  bool canBecomeFirstResponder() const override { return isEditable; }
  bool canResignFirstResponder() const override { return !isStubborn; }
  void touchesBegan(const Touches& touches, UIEvent* event) override { tell("began", touches, event); }
  void touchesMoved(const Touches& touches, UIEvent* event) override { tell("moved", touches, event); }
  void touchesEnded(const Touches& touches, UIEvent* event) override { tell("ended", touches, event); }
  void touchesCancelled(const Touches& touches, UIEvent* event) override {
    tell("cancelled", touches, event);
  }
  void observeValueForKeyPath(const std::string& key, NSObject&, const KeyValue& value,
                              const void*) override {
    log_.push_back(key + " " + kPhases[std::get<std::int64_t>(value)]);
  }

 private:
  void note() { log_.push_back(name_ + " acted"); }
  void tell(const char* what, const Touches& touches, UIEvent* event) {
    std::string line = name_ + " " + what + " " + std::to_string(touches.size()) + " of";
    for (const auto& touch : event->allTouches()) line += std::string(" ") + kPhases[int(touch->phase())];
    log_.push_back(line);
    if (onTouch) onTouch();
  }

  Log& log_;
  std::string name_;
};

class LoggingApplication : public UIApplication {
  NS_OBJECT(LoggingApplication, UIApplication)

 public:
  explicit LoggingApplication(Log& log) : log_(log) {}
  void sendEvent(UIEvent& event) override {
    log_.push_back(event.type() == UIEventType::Motion ? "app motion" : "app");
    UIApplication::sendEvent(event);
  }

 private:
  Log& log_;
};

}  // namespace

class UIApplicationTest : public testing::Test {
 protected:
  UIApplicationTest() {
    installUIKit();
    UIApplication::setSharedApplication(application);
  }

  std::shared_ptr<Probe> probe(std::string name, CGRect frame, UIView& parent) {
    auto view = std::make_shared<Probe>(frame, log, std::move(name));
    parent.addSubview(view);
    return view;
  }
  std::shared_ptr<UIWindow> shownWindow(UIWindowLevel level = UIWindowLevelNormal) {
    auto window = UIWindow::create();
    window->setWindowLevel(level);
    window->makeKeyAndVisible();
    return window;
  }
  // "one; two"
  std::string takeLog() {
    std::string text;
    for (const std::string& line : std::exchange(log, {})) text += (text.empty() ? "" : "; ") + line;
    return text;
  }
  // Notes "ApplicationDidBecomeActive" and the application's state.
  void listenTo(std::initializer_list<std::string_view> names) {
    for (const std::string_view name : names) {
      NSNotificationCenter::defaultCenter().addObserver(name, [this](const NSNotification& notification) {
        const std::string& full = notification.name;
        log.push_back(full.substr(2, full.size() - std::string("UINotification").size()) + " " +
                      std::to_string(int(application->applicationState())));
      });
    }
  }

  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  Log log;
  std::shared_ptr<UIApplication> application = std::make_shared<LoggingApplication>(log);
  UITouchInput input;
};

TEST_F(UIApplicationTest, EveryFingerIsInEveryEventAndAViewGetsTheFirstUnlessItWantsMore) {
  const auto window = shownWindow();
  const auto one = probe("one", CGRectMake(0, 0, 100, 100), *window);
  const auto many = probe("many", CGRectMake(100, 0, 100, 100), *window);
  many->setMultipleTouchEnabled(true);
  input.touchBegan(1, {10, 10});
  input.touchOf(1)->addObserver(one, "phase", nullptr);
  input.touchBegan(2, {20, 20});
  EXPECT_EQ(takeLog(), "app; one began 1 of began; phase stationary; app");
  input.touchBegan(3, {110, 10});
  input.touchBegan(4, {120, 10});
  input.touchMoved(4, {0, 0});
  EXPECT_EQ(takeLog(),
            "phase stationary; app; many began 1 of stationary stationary began; phase stationary; app; many "
            "began 1 of stationary stationary stationary began; phase stationary; app; many moved 1 of "
            "stationary stationary stationary moved");
  // The second finger stays unknown to the view when the first is lifted, and a lifted one is not reported
  // again.
  const auto first = input.touchOf(1);
  input.touchEnded(1);
  first->removeObserver(*one, "phase", nullptr);
  input.touchMoved(2, {21, 21});
  EXPECT_EQ(takeLog(), "phase ended; app; one ended 1 of ended stationary stationary stationary; app");
  input.cancelAllTouches();
  EXPECT_EQ(takeLog(), "app; many cancelled 2 of cancelled cancelled cancelled");
  EXPECT_EQ(input.touchOf(2), nullptr);
}

TEST_F(UIApplicationTest, ATouchFollowsItsViewOutOfTheTreeAndCountsTaps) {
  auto window = shownWindow();
  window->setFrame(CGRectMake(50, 0, 300, 300));
  auto view = probe("view", CGRectMake(100, 100, 50, 50), *window);
  input.touchBegan(1, {160, 110});
  const auto touch = input.touchOf(1);
  EXPECT_EQ(touch->locationInView(view.get()), (CGPoint{10, 10}));
  input.touchMoved(1, {170, 115});
  EXPECT_EQ(touch->previousLocationInView(nullptr), (CGPoint{110, 110}));
  EXPECT_EQ(touch->locationInView(nullptr), (CGPoint{120, 115}));
  view->removeFromSuperview();
  view.reset();
  takeLog();
  input.touchEnded(1);
  EXPECT_EQ(takeLog(), "app; view ended 1 of ended");

  scheduler.advance(0.2);
  input.touchBegan(1, {165, 110});
  EXPECT_EQ(input.touchOf(1)->tapCount(), 2);
  EXPECT_EQ(input.touchOf(1)->view(), window);
  input.touchEnded(1);
  scheduler.advance(1);
  input.touchBegan(1, {165, 110});
  EXPECT_EQ(input.touchOf(1)->tapCount(), 1);
}

TEST_F(UIApplicationTest, WindowsAreHitByLevelThenByLatestShowing) {
  const auto below = shownWindow();
  const auto alert = shownWindow(UIWindowLevelAlert);
  alert->setFrame(CGRectMake(0, 0, 50, 50));
  const auto latest = shownWindow();
  const auto hidden = UIWindow::create();
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
  // The one that was key before.
  overlay->makeKeyWindow();
  overlay->setHidden(true);
  EXPECT_EQ(application->keyWindow(), second);
  // That one is hidden already.
  overlay->setHidden(false);
  overlay->makeKeyWindow();
  second->setHidden(true);
  overlay->setHidden(true);
  EXPECT_EQ(application->keyWindow(), app);
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
  EXPECT_TRUE(app->isKeyWindow());
  EXPECT_EQ(takeLog(), "WindowDidBecomeKey 0");
  // A touch makes its window the key one.
  overlay->setHidden(false);
  input.touchBegan(1, {200, 200});
  EXPECT_EQ(application->keyWindow(), overlay);
}

TEST_F(UIApplicationTest, EachSceneHasItsKeyWindowAndTheMostActiveOneIsTheApplications) {
  const auto left = std::make_shared<UIWindowScene>(), right = std::make_shared<UIWindowScene>();
  application->connectScene(left);
  application->connectScene(right);
  const auto a = UIWindow::create(left), b = UIWindow::create(right), c = UIWindow::create(right);
  for (const auto& window : {a, b, c}) window->makeKeyAndVisible();
  EXPECT_THAT((std::vector{left->keyWindow(), right->keyWindow(), application->keyWindow()}),
              ElementsAre(a, c, c));
  EXPECT_TRUE(a->isKeyWindow() && c->isKeyWindow() && !b->isKeyWindow());
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
  listenTo({UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
            UIApplicationDidBecomeActiveNotification, UIApplicationWillResignActiveNotification});
  const auto one = std::make_shared<UIWindowScene>(), other = std::make_shared<UIWindowScene>();
  application->connectScene(one);
  application->connectScene(other);
  one->enterBackground();
  EXPECT_EQ(takeLog(), "") << "the other is active";
  other->enterBackground();
  EXPECT_EQ(takeLog(), "ApplicationWillResignActive 0; ApplicationDidEnterBackground 2");
  one->activate();
  EXPECT_EQ(takeLog(), "ApplicationWillEnterForeground 1; ApplicationDidBecomeActive 0");
  EXPECT_EQ(other->activationState(), UISceneActivationState::Background);
  one->deactivate();
  EXPECT_EQ(application->applicationState(), UIApplicationState::Inactive);
  application->disconnectScene(*one);
  EXPECT_EQ(application->applicationState(), UIApplicationState::Background);
}

TEST_F(UIApplicationTest, WhatAHandlerThrowsReachesTheCallerAndNothingIsLeftHalfDone) {
  const auto window = shownWindow();
  const auto view = probe("view", CGRectMake(0, 0, 100, 100), *window);
  const auto other = probe("other", CGRectMake(100, 0, 100, 100), *window);
  view->onTouch = [] { throw std::runtime_error("from the app"); };
  EXPECT_THROW(input.touchBegan(1, {10, 10}), std::runtime_error);
  input.touchBegan(2, {110, 10});
  takeLog();
  EXPECT_THROW(input.cancelAllTouches(), std::runtime_error);
  EXPECT_EQ(takeLog(),
            "app; view cancelled 1 of cancelled cancelled; other cancelled 1 of cancelled cancelled");
  view->onTouch = nullptr;
  input.touchBegan(1, {10, 10});
  EXPECT_EQ(takeLog(), "app; view began 1 of began");
}

TEST_F(UIApplicationTest, AnActionWithoutTargetIsSearchedAlongAChainThatMayBeARing) {
  const auto window = shownWindow();
  const auto outer = probe("outer", CGRectMake(0, 0, 100, 100), *window);
  const auto inner = std::make_shared<UIView>();
  outer->addSubview(inner);
  EXPECT_TRUE(application->sendAction(SEL("note"), nullptr, inner.get(), nullptr));
  EXPECT_TRUE(application->sendAction(SEL("note"), outer.get(), nullptr, nullptr));
  EXPECT_FALSE(application->sendAction(SEL("note"), inner.get(), nullptr, nullptr));
  EXPECT_FALSE(application->sendAction(SEL("note"), nullptr, nullptr, nullptr));
  outer->isEditable = true;
  outer->becomeFirstResponder();
  EXPECT_TRUE(application->sendAction(SEL("note"), nullptr, nullptr, nullptr));
  EXPECT_EQ(takeLog(), "outer acted; outer acted; outer acted");

  outer->next = inner.get();
  EXPECT_FALSE(application->sendAction(SEL("unheard of"), nullptr, inner.get(), nullptr));
  inner->setFrame(CGRectMake(0, 0, 100, 100));
  application->shake();  // ends nowhere, but ends
}

TEST_F(UIApplicationTest, AnActionThatIsNotCalledIsALineInTheLog) {
  class Shop : public NSObject {
    NS_OBJECT(Shop, NSObject)
   public:
    explicit Shop(Log& log) : log_(log) {}
    static void describe(ClassBuilder<Shop>& c) { c.action("open:", &Shop::open); }

   private:
    void open(UIButton*) { log_.push_back("opened"); }
    Log& log_;
  };
  SystemLog::setSink([this](std::string_view line) { log.emplace_back(line); });
  const auto shop = std::make_shared<Shop>(log);
  const auto button = std::make_shared<UIButton>("Open");
  const auto control = std::make_shared<UIControl>();
  const auto send = [&](const std::shared_ptr<UIControl>& sender, const char* action, bool toShop = true) {
    sender->addTarget(toShop ? shop : nullptr, SEL(action), UIControlEvents::ValueChanged);
    sender->sendActionsForControlEvents(UIControlEvents::ValueChanged);
    sender->removeTarget(nullptr, SEL(action), UIControlEvents::ValueChanged);
    sender->removeTarget(shop.get(), SEL(action), UIControlEvents::ValueChanged);
  };
  send(button, "open:");
  EXPECT_EQ(takeLog(), "opened");
  send(button, "opne:");
  EXPECT_THAT(takeLog(), MatchesRegex("<Shop: .*> has no action \"opne:\", sent by <UIButton: .*>"));
  send(button, "opne:", false);
  EXPECT_THAT(takeLog(), HasSubstr("No responder in the chain has an action \"opne:\""));
  send(control, "open:");
  EXPECT_THAT(takeLog(), HasSubstr("takes another sender or event than <UIControl: "));
  SystemLog::setSink(nullptr);
}

TEST_F(UIApplicationTest, ShakingStartsAtTheFirstResponderAndEndsAtTheApplication) {
  static int ends = 0;
  UIApplication::motionEndedMethod.replace(UIApplication::classObject(),
                                           [](UIApplication&, SEL, UIEventSubtype motion, UIEvent*) {
                                             ends += motion == UIEventSubtype::MotionShake;
                                           });
  application->shake();
  const auto window = shownWindow();
  application->shake();
  const auto field = probe("field", {}, *window);
  field->isEditable = true;
  ASSERT_TRUE(field->becomeFirstResponder());
  application->shake();
  EXPECT_EQ(ends, 3);
  EXPECT_EQ(takeLog(), "app motion; app motion; app motion");
}

TEST_F(UIApplicationTest, AFirstResponderGivesWayUnlessItRefusesAndLeavesWithItsWindow) {
  auto window = shownWindow();
  const auto a = probe("a", {}, *window);
  const auto b = probe("b", {}, *window);
  EXPECT_FALSE(a->becomeFirstResponder());
  a->isEditable = b->isEditable = true;
  EXPECT_TRUE(a->becomeFirstResponder());
  a->isStubborn = true;
  EXPECT_FALSE(b->becomeFirstResponder());
  EXPECT_TRUE(a->isFirstResponder());
  a->removeFromSuperview();
  EXPECT_EQ(UIResponder::firstResponder(), nullptr);
  EXPECT_FALSE(a->becomeFirstResponder());
  EXPECT_TRUE(b->becomeFirstResponder());
  window.reset();
  EXPECT_EQ(UIResponder::firstResponder(), nullptr);
  EXPECT_EQ(b->superview(), nullptr);
  EXPECT_THAT(application->windows(), IsEmpty());
}

TEST_F(UIApplicationTest, ScenesFollowTheApplicationAndArePicturedInTheBackground) {
  listenTo({UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
            UIApplicationDidBecomeActiveNotification, UIApplicationWillResignActiveNotification,
            UISceneWillEnterForegroundNotification, UISceneDidActivateNotification,
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
  EXPECT_EQ(takeLog(), "SceneWillEnterForeground 0; SceneDidActivate 0");
  application->enterBackground();
  EXPECT_EQ(takeLog(),
            "SceneWillDeactivate 0; ApplicationWillResignActive 0; SceneDidEnterBackground 2; "
            "ApplicationDidEnterBackground 2");
  ASSERT_NE(scene->snapshot(), nullptr);
  EXPECT_EQ(scene->snapshot()->colorAtPixel(19, 9), UIColor::systemRed());
  application->enterForeground();
  EXPECT_EQ(takeLog(),
            "SceneWillEnterForeground 1; ApplicationWillEnterForeground 1; SceneDidActivate 0; "
            "ApplicationDidBecomeActive 0");

  application->connectScene(absurd);
  application->enterBackground();
  EXPECT_EQ(absurd->snapshot(), nullptr);
  Log order;
  EXPECT_FALSE(application->performSnapshotsWithAction([&] { order.push_back("action"); }, absurd.get(),
                                                       [&] { order.push_back("completion"); }));
  EXPECT_THAT(order, ElementsAre("action", "completion"));
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
