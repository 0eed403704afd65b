// The pageviews of screens: which controllers get one, when, and what it says.

#include <limits>
#include <map>
#include <regex>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UITextField.h"
#include "src/core/KIBailer.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/support/Story.h"

using namespace platform;
using namespace testing;

namespace {

class PageviewCaptureTest : public testing::Test {
 protected:
  using Row = std::pair<const char*, const char*>;

  void start() { device.start(options); }
  // Each row is what happens, and the pageviews that come of it.
  void tell(std::initializer_list<Row> rows) {
    for (const auto& [story, pageviews] : rows) {
      SCOPED_TRACE(story);
      playStory(steps_, story, [] {});
      EXPECT_EQ(newPageviews(), pageviews);
    }
  }
  // Those that were uploaded since the last call: their titles, or ":CartController" for one without.
  std::string newPageviews() {
    device.upload();
    const auto targets = device.receivedTargets("/h");
    std::string pageviews;
    for (; seen_ < targets.size(); ++seen_) {
      std::smatch match;
      EXPECT_TRUE(std::regex_search(targets[seen_], match, std::regex("&h=([^&]*)&t=([^&]*)&")));
      pageviews +=
          (pageviews.empty() ? "" : ", ") + (match[2].length() ? match[2].str() : ":" + match[1].str());
    }
    return pageviews;
  }
  std::string pageviewOfLatestMessage() const {
    return std::regex_replace(json(at(device.receivedMessages().back(), "pageviewInfo")),
                              std::regex("[0-9]{16}"), "ID");
  }

  SimulatedDevice device;
  std::shared_ptr<KovaOptions> options = device.optionsWithScreens();
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();

 private:
  using Name = const std::string&;
  // The app's screen of that title; "system" and "system 2" are the system's.
  std::shared_ptr<UIViewController> named(Name name) {
    auto& found = screens_[name];
    if (!found && name.starts_with("system")) found = std::make_shared<UIInputWindowController>();
    return found ? found : found = screen(name);
  }
  void present(Name name, UIViewController::ModalPresentationStyle style) {
    named(name)->setModalPresentationStyle(style);
    named("Cart")->presentViewController(named(name), false);
  }

  std::map<std::string, std::shared_ptr<UIViewController>> screens_;
  std::map<std::string, std::shared_ptr<UIWindow>> windows_;
  std::size_t seen_ = 0;
  const StorySteps steps_{
      {"shows", [this](Name name) { windows_[name] = device.show(named(name)); }},  // in a window of its own
      {"focuses", [this](Name name) { windows_[name]->makeKeyWindow(); }},
      {"closes", [this](Name name) { windows_.erase(name), screens_.erase(name); }},
      {"appears", [this](Name name) { named(name)->viewDidAppear(false); }},
      // Over the screen "Cart".
      {"covers", [this](Name name) { present(name, UIViewController::ModalPresentationStyle::FullScreen); }},
      {"lays",
       [this](Name name) { present(name, UIViewController::ModalPresentationStyle::OverCurrentContext); }},
      {"dismisses", [this](Name) { named("Cart")->dismissViewController(false); }},
      {"hides", [this](Name) { device.application->enterBackground(); }},
      {"returns", [this](Name) { device.application->enterForeground(); }},
      {"waits", [this](Name seconds) { device.advance(std::stod(seconds)); }},
      {"tracks", [](Name) { Kova::track("Checkout"); }},
      {"identifies", [](Name name) { Kova::identify(name); }},
      {"resets", [](Name) { Kova::resetIdentity(); }},
      {"declines", [](Name) { Kova::setTrackingEnabled(false); }},
      {"allows", [](Name) { Kova::setTrackingEnabled(true); }},
      {"edits",
       [](Name) {
         NSNotificationCenter::defaultCenter().post(UITextFieldTextDidEndEditingNotification,
                                                    std::make_shared<UITextField>());
       }},
  };
};

TEST_F(PageviewCaptureTest, AnAppearingScreenIsGivenToTheEventsUpToTheNext) {
  device.setOnline(false);
  start();
  const auto cart = screen("Cart");
  cart->setAccessibilityLabel("Your cart");
  device.show(cart);
  Kova::track("Checkout");
  device.drain();
  device.show(screen("Account"));
  device.drain();
  EXPECT_EQ(device.stored("queuedMessageBatches")->array().size(), 1u) << "ahead of the next screen";
  device.setOnline(true);
  EXPECT_EQ(newPageviews(), "Cart, Account");
  EXPECT_EQ(pageviewOfLatestMessage(),
            R"({"viewController":"CartController","title":"Cart","screenA11yId":"cart.screen",)"
            R"("screenA11yLabel":"Your cart","timestamp":"1767225600000","id":"ID"})");
  EXPECT_EQ(device.receivedMessages().size(), 2u) << "the event, and the installation that waited";
}

TEST_F(PageviewCaptureTest, AnAppWithoutScreensGetsOneBeforeTheFirstEventsOfEachSession) {
  options = device.options();
  options->setDebug(true);
  start();
  tell({{"tracks, tracks, tracks", ":"}});  // together with the installation, all in one go
  EXPECT_THAT(device.logLinesWith("Logged view controller"),
              ElementsAre("[KOVA DEBUG]: Logged view controller with properties:"));
  const std::string first = json(at(device.receivedMessages()[0], "pageviewInfo"));
  for (const Dictionary& message : device.receivedMessages()) {
    EXPECT_EQ(json(at(message, "pageviewInfo")), first);
    EXPECT_EQ(at(message, "sessionInfo/id"), platform::Value(*Kova::sessionId()));
  }
  EXPECT_EQ(pageviewOfLatestMessage(),
            R"({"viewController":"","title":"","screenA11yId":"","screenA11yLabel":"",)"
            R"("timestamp":"1767225600000","id":"ID"})");
  tell({{"waits 301", ""}, {"tracks", ":"}});
  EXPECT_NE(json(at(device.receivedMessages().back(), "pageviewInfo")), first);
  // The user signs out while he types: the session ends between the edit and its message.
  tell({{"identifies ada, resets, edits", ":"}, {"waits 1", ""}});
  EXPECT_EQ(at(device.receivedMessages().back(), "event/touchEvent/type"), platform::Value("fieldedit"));
  EXPECT_EQ(at(device.receivedMessages().back(), "sessionInfo/id"), platform::Value(*Kova::sessionId()));
}

TEST_F(PageviewCaptureTest, TitlesAreThoseOfTheBarThatShowsTheScreen) {
  start();
  const auto pushed = screen("Own");
  pushed->navigationItem()->setTitle(std::nullopt);
  const auto navigation = UINavigationController::create(pushed);
  device.show(navigation);
  EXPECT_EQ(newPageviews(), ":CartController");
  const auto second = screen("Own");
  second->navigationItem()->setTitle("In the bar");
  navigation->pushViewController(second, false);
  EXPECT_EQ(newPageviews(), "In%20the%20bar");
  const auto inside = screen("Own");
  inside->navigationItem()->setTitle("In no bar");
  second->addChildViewController(inside);
  inside->viewDidAppear(false);
  EXPECT_EQ(newPageviews(), "Own") << "the bar shows its parent's";

  options->setDisableTitleCapture(true);
  options->setDisableAccessibilityLabelCapture(true);
  delegate->pageview = [] {
    return Dictionary{{"title", "Hidden"}, {"screenA11yLabel", "Hidden"}, {"viewController", "Renamed"}};
  };
  options->setAutocaptureEnrichmentDelegate(delegate);
  device.show(screen("Hidden"));
  Kova::track("Checkout");
  EXPECT_EQ(newPageviews(), ":Renamed");
  EXPECT_THAT(pageviewOfLatestMessage(), HasSubstr(R"("screenA11yLabel":"","timestamp")"));
}

TEST_F(PageviewCaptureTest, ContainersStandForTheScreenThatTheyShow) {
  start();
  const auto cart = screen("Cart");
  const auto account = screen("Account");
  account->tabBarItem()->setTitle("On the tab");  // which only a tab bar itself is asked for
  const auto tabs = std::make_shared<UITabBarController>();
  tabs->setViewControllers({UINavigationController::create(cart), account});
  device.show(tabs);
  EXPECT_EQ(newPageviews(), "Cart") << "tabs, navigation and screen have appeared";
  tabs->setSelectedIndex(1);
  tabs->setSelectedIndex(0);
  EXPECT_EQ(newPageviews(), "Account, Cart");

  EXPECT_EQ(KOVA_viewControllerForPageView(std::make_shared<UINavigationController>()), nullptr);
  struct Circular : UINavigationController {
    Children viewControllers() const override { return {inside}; }
    std::shared_ptr<UIViewController> inside;
  };
  const auto circle = std::make_shared<Circular>();
  const auto other = std::make_shared<Circular>();
  circle->inside = other;
  other->inside = circle;
  EXPECT_EQ(KOVA_viewControllerForPageView(circle), nullptr);
  circle->inside = nullptr;
}

TEST_F(PageviewCaptureTest, AScreenIsRecordedAgainOnlyAfterAnotherOneOfTheApps) {
  start();
  tell({{"shows Cart, appears Cart, shows system, appears Cart", "Cart"}});
  device.show(std::make_shared<AppInputController>());
  tell({{"appears Cart", ":AppInputController, Cart"}});
  EXPECT_EQ(KOVA_classesToIgnore().size(), 40u);
}

TEST_F(PageviewCaptureTest, WhatIsSwitchedOffOrNotVisibleIsNotRecorded) {
  options->setDebug(true);
  start();
  tell({{"declines, shows Cart", ""}});
  EXPECT_THAT(device.logLinesWith("Tracking disabled, ignoring: <Page View>"), SizeIs(1));
  tell({{"allows, appears Cart", ""}});  // declined or not, it was the last one tracked
  // The app switcher's picture shows screens that are not there.
  const auto snapshot = [this](const std::function<void()>& action) {
    device.application->performSnapshotsWithAction(action, device.scene.get(), {});
  };
  snapshot([&] {
    EXPECT_THROW(snapshot([] { throw std::runtime_error("of the app"); }), std::runtime_error);
    screen("Unseen")->viewDidAppear(false);
  });
  tell({{"appears Cart, appears Unseen", "Cart, Unseen"}});
  options->setDisableAutocaptureWhenBackgrounded(true);
  tell({{"appears Cart, appears Unseen", "Cart"}});
}

TEST_F(PageviewCaptureTest, ComingBackToTheForegroundRecordsTheScreenOfTheKeyWindowAgain) {
  const auto waiting = [this] { return device.logLinesWith("Uploads wait for a pageview").size(); };
  options->setDisableAutocaptureWhenBackgrounded(true);  // a return is no background any more
  options->setDebug(true);
  start();
  // Once, though scene and app have come back.
  tell({{"shows Cart", "Cart"}, {"hides, returns, waits 5", "Cart"}});
  EXPECT_EQ(waiting(), 0u);
  // The screen behind is another window's. What covers it then has no pageview of its own, and it is not in
  // the window any more.
  tell({{"shows system, hides, returns", ""}, {"focuses Cart, covers system 2, hides, returns", ""}});
  options->setDisableViewControllerAutocapture(true);
  tell({{"hides, returns", "Cart"}});  // the latest of the session
  device.clearLog();
  tell({{"hides, declines, returns, waits 5", ""}});
  EXPECT_EQ(waiting(), 1u);
}

TEST_F(PageviewCaptureTest, ComingBackWithoutScenesIsUpToTheApp) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  device.setSystemVersion("12.4");
  start();
  tell({{"shows Cart", "Cart"}});
  EXPECT_EQ(device.scene, nullptr);
  NSNotificationCenter::defaultCenter().post(UISceneWillEnterForegroundNotification, nullptr);
  tell({{"hides, returns", "Cart"},
        {"closes Cart, hides, returns", "Cart"}});  // without a key window, the latest one
}

TEST_F(PageviewCaptureTest, ANewSessionRecordsTheVisibleScreensOnceBeforeItsEvents) {
  start();
  tell({{"shows Cart, lays Account", "Cart, Account"},
        {"waits 301", ""},
        {"tracks, tracks, tracks", "Cart, Account"}});
  EXPECT_THAT(pageviewOfLatestMessage(), HasSubstr(R"("title":"Account")"));
  tell({{"identifies ada, identifies grace", "Cart, Account"},
        {"resets", "Cart, Account"},
        {"dismisses, covers Cover", "Cover"},
        {"waits 301, tracks", "Cover"},
        {"waits 301, hides, tracks", ""}});  // nothing is visible
}

TEST_F(PageviewCaptureTest, TheDelegateAddsToAPageviewButCannotBreakIt) {
  options->setAutocaptureEnrichmentDelegate(delegate);
  start();
  delegate->pageview = [] {
    Kova::track("Asked");  // asks for the screens of the session in turn
    return Dictionary{{"title", 3},
                      {"screenA11yId", nullptr},
                      {"plan", "pro"},
                      {"id", "mine"},
                      {7, "a key"},
                      {"object", std::make_shared<NSObject>()},
                      {"real", std::numeric_limits<double>::infinity()}};
  };
  const auto window = device.show(screen("Cart"));
  device.advance(301);
  Kova::track("Checkout");
  EXPECT_EQ(newPageviews(), "3, 3");
  EXPECT_EQ(
      pageviewOfLatestMessage(),
      R"({"viewController":"CartController","title":3,"screenA11yId":"cart.screen","screenA11yLabel":"",)"
      R"("plan":"pro","id":"ID","timestamp":"1767225901000"})");
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());

  // Known to a session that is over, and appearing.
  window->setHidden(true);
  KOVA_setLastTrackedViewController(nullptr);
  device.advance(301);
  window->setHidden(false);
  EXPECT_EQ(newPageviews(), "3") << "once, though asked for while it is described";

  delegate->pageview = []() -> Delegate::Answer { throw std::runtime_error("host"); };
  const auto second = screen("Account");
  EXPECT_NO_THROW(device.show(second));
  EXPECT_TRUE(second->isViewAppeared());
  EXPECT_TRUE(KIBailer::sharedBailer().isBailed());
  EXPECT_NO_THROW(device.show(screen("Cart"))) << "the platform's own goes on";
}

TEST_F(PageviewCaptureTest, ASecondReplacementDisablesTheLibrary) {
  __KOVA_ViewDidAppear_Orig = [](UIViewController&, SEL, bool) {};
  start();
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "UIViewController/KOVA_instrumentPageviewAutocapture");
  EXPECT_EQ(__KOVA_PresentViewControllerAnimatedCompletion_Orig, nullptr);
}

TEST_F(PageviewCaptureTest, ScreensAreLeftToTheTrackerInForceWhichTellsOfOneThatWasShownBeforeIt) {
  const auto lines = [this] { return device.logLinesWith("A screen was shown before").size(); };
  options->setDebug(true);
  const auto window = device.show(screen("Cart"));
  start();
  device.drain();
  EXPECT_EQ(lines(), 1u);
  window->setHidden(true);
  window->setHidden(false);
  device.drain();
  const auto before = KovaTracker::sharedTracker();
  before->resetSession();
  device.drain();
  start();
  Kova::track("New");
  device.drain();
  before->recordCustomEvent("Late", std::nullopt);
  EXPECT_EQ(newPageviews(), "Cart, Cart") << "of the first session, and of the one in force";
  EXPECT_EQ(lines(), 1u) << "it has a pageview now";
}

}  // namespace
