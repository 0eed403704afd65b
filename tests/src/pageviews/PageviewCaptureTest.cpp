// The pageviews of screens: which controllers get one, when, and what it says.

#include <limits>
#include <map>
#include <regex>

#include "platform/foundation/NSNotificationCenter.h"
#include "src/core/KIBailer.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"
#include "tests/src/autocapture/CaptureTest.h"
#include "tests/support/Story.h"

using namespace platform;
using namespace testing;

namespace {

struct Enrichment : KovaAutocaptureEnrichmentDelegate {
  std::optional<Dictionary> autocapturePageviewPropertiesForViewController(
      UIViewController& controller) override {
    return answer(controller);
  }
  std::function<std::optional<Dictionary>(UIViewController&)> answer;
};

class PageviewCaptureTest : public testing::Test {
 protected:
  using Row = std::pair<const char*, const char*>;

  void start(std::string_view systemVersion = "17.0") {
    device.setSystemVersion(systemVersion);
    device.start(options);
  }
  // Each row is what happens, and the pageviews that come of it.
  void tell(std::initializer_list<Row> rows) {
    for (const auto& [story, pageviews] : rows) {
      SCOPED_TRACE(story);
      playStory(steps_, story, [] {});
      EXPECT_EQ(newPageviews(), pageviews);
    }
  }
  // Those that were uploaded since the last call: "Cart" for one of a CartController of that title, else
  // "AccountController:Account".
  std::string newPageviews() {
    device.upload();
    const auto targets = device.receivedTargets("/h");
    std::string pageviews;
    for (; seen_ < targets.size(); ++seen_) {
      std::smatch match;
      EXPECT_TRUE(std::regex_search(targets[seen_], match, std::regex("&h=([^&]*)&t=([^&]*)&")));
      const bool isPlain = match[1] == "CartController" && match[2].length() > 0;
      pageviews += (pageviews.empty() ? "" : ", ") + (isPlain ? "" : match[1].str() + ":") + match[2].str();
    }
    return pageviews;
  }
  std::string pageviewOfLatestMessage() const {
    return std::regex_replace(json(at(device.receivedMessages().back(), "pageviewInfo")),
                              std::regex("[0-9]{16}"), "ID");
  }

  SimulatedDevice device;
  std::shared_ptr<KovaOptions> options = device.optionsWithScreens();
  std::shared_ptr<Enrichment> enrichment = std::make_shared<Enrichment>();

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
  };
};

TEST_F(PageviewCaptureTest, AnAppearingScreenIsUploadedAndGivenToEvents) {
  start();
  const auto cart = screen("Cart");
  cart->setAccessibilityLabel("Your cart");
  device.show(cart);
  Kova::track("Checkout");
  EXPECT_EQ(newPageviews(), "Cart");
  EXPECT_THAT(std::regex_replace(device.receivedTargets("/h")[0], std::regex("[0-9]{16}"), "ID"),
              EndsWith("&z=0&ts=1767225600000&v=ID&h=CartController&t=Cart&d=cart.screen&y=Your%20cart"
                       "&st=1767225600000"));
  EXPECT_EQ(pageviewOfLatestMessage(),
            R"({"viewController":"CartController","title":"Cart","screenA11yId":"cart.screen",)"
            R"("screenA11yLabel":"Your cart","timestamp":"1767225600000","id":"ID"})");
  EXPECT_EQ(device.receivedMessages().size(), 2u) << "the event, and the installation that waited";
}

TEST_F(PageviewCaptureTest, TitlesAreThoseOfTheBarThatShowsTheScreen) {
  start();
  const auto pushed = screen("Own");
  pushed->navigationItem()->setTitle(std::nullopt);
  const auto navigation = UINavigationController::create(pushed);
  device.show(navigation);
  EXPECT_EQ(newPageviews(), "CartController:");
  const auto second = screen("Own");
  second->navigationItem()->setTitle("In the bar");
  navigation->pushViewController(second, false);
  EXPECT_EQ(newPageviews(), "In%20the%20bar");
  const auto inside = screen("Own");
  inside->navigationItem()->setTitle("In no bar");
  second->addChildViewController(inside);
  inside->viewDidAppear(false);
  EXPECT_EQ(newPageviews(), "Own") << "the bar shows its parent's";

  // Only a tab bar itself is asked for its tab's title, and it stands for its selected screen unless empty.
  const auto tabs = std::make_shared<UITabBarController>();
  const auto tab = screen("Own");
  tab->tabBarItem()->setTitle("On the tab");
  tabs->setViewControllers({tab});
  device.show(tabs);
  EXPECT_EQ(newPageviews(), "Own");

  options->setDisableTitleCapture(true);
  options->setDisableAccessibilityLabelCapture(true);
  enrichment->answer = [](UIViewController&) {
    return Dictionary{{"title", "Hidden"}, {"screenA11yLabel", "Hidden"}, {"viewController", "Renamed"}};
  };
  options->setAutocaptureEnrichmentDelegate(enrichment);
  device.show(screen("Hidden"));
  Kova::track("Checkout");
  EXPECT_EQ(newPageviews(), "Renamed:");
  EXPECT_THAT(pageviewOfLatestMessage(), HasSubstr(R"("screenA11yLabel":"","timestamp")"));
}

TEST_F(PageviewCaptureTest, ContainersStandForTheScreenThatTheyShow) {
  start();
  const auto cart = screen("Cart");
  const auto tabs = std::make_shared<UITabBarController>();
  tabs->setViewControllers({UINavigationController::create(cart), screen<AccountController>("Account")});
  device.show(tabs);
  EXPECT_EQ(newPageviews(), "Cart") << "tabs, navigation and screen have appeared";
  tabs->setSelectedIndex(1);
  tabs->setSelectedIndex(0);
  EXPECT_EQ(newPageviews(), "AccountController:Account, Cart");

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

TEST_F(PageviewCaptureTest, AScreenIsRecordedAgainOnlyAfterAnotherOne) {
  start();
  tell({{"shows Cart, appears Cart", "Cart"}, {"shows system, appears Cart", ""}});
  device.show(std::make_shared<AppInputController>());
  tell({{"appears Cart", "AppInputController:, Cart"}});
  EXPECT_EQ(KOVA_classesToIgnore().size(), 40u);
}

TEST_F(PageviewCaptureTest, WhatIsSwitchedOffOrNotVisibleIsNotRecorded) {
  options->setDebug(true);
  start();
  tell({{"declines, shows Cart", ""}});
  EXPECT_THAT(device.logLinesWith("Tracking disabled, ignoring: <Page View>"), SizeIs(1));
  tell({{"allows, appears Cart", ""}});  // declined or not, it was the last one tracked
  // The app switcher's picture shows screens that are not there.
  device.application->performSnapshotsWithAction([&] { screen("Unseen")->viewDidAppear(false); },
                                                 device.scene.get(), {});
  tell({{"appears Cart, appears Unseen", "Cart, Unseen"}});
  options->setDisableAutocaptureWhenBackgrounded(true);
  tell({{"appears Cart, appears Unseen", "Cart"}});
}

TEST_F(PageviewCaptureTest, ComingBackToTheForegroundRecordsTheScreenOfTheKeyWindowAgain) {
  start();
  tell({{"shows Cart", "Cart"},
        {"hides, returns", "Cart"},            // once, though scene and app have come back
        {"shows system, hides, returns", ""},  // the screen behind is another window's
        // What covers it has no pageview of its own, and the screen below is not in the window any more.
        {"focuses Cart, covers system 2, hides, returns", ""}});
  options->setDisableViewControllerAutocapture(true);
  tell({{"hides, returns", "Cart"}});  // the latest of the session
}

TEST_F(PageviewCaptureTest, AReturnThatIsNoBackgroundAnyMoreRecordsAndOneThatRecordsNothingSaysSo) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  options->setDebug(true);
  start();
  tell({{"shows Cart", "Cart"}, {"hides, returns, waits 5", "Cart"}});
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), IsEmpty());
  tell({{"hides, declines, returns, waits 5", ""}});
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), SizeIs(1));
}

TEST_F(PageviewCaptureTest, ComingBackWithoutScenesIsUpToTheApp) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  start("12.4");
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
  options->setAutocaptureEnrichmentDelegate(enrichment);
  start();
  enrichment->answer = [](UIViewController&) {
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

  enrichment->answer = [](UIViewController&) -> std::optional<Dictionary> {
    throw std::runtime_error("host");
  };
  const auto second = screen<AccountController>("Account");
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

TEST_F(PageviewCaptureTest, ATrackerThatWasReplacedLeavesTheScreensToTheOneInForce) {
  device.start(options);
  const auto window = device.show(screen("Cart"));
  device.drain();
  const auto before = KovaTracker::sharedTracker();
  before->resetSession();
  device.drain();
  device.start(options);
  Kova::track("New");
  device.drain();
  before->recordCustomEvent("Late", std::nullopt);
  device.upload();
  EXPECT_EQ(device.receivedTargets("/h").size(), 2u) << "of the first session, and of the one in force";
}

TEST_F(PageviewCaptureTest, AScreenThatWasShownBeforeTheStartIsToldOf) {
  options->setDebug(true);
  const auto lines = [this] { return device.logLinesWith("A screen was shown before").size(); };
  const auto window = device.show(screen("Cart"));
  device.start(options);
  device.drain();
  EXPECT_EQ(lines(), 1u);
  window->setHidden(true);
  window->setHidden(false);
  device.drain();
  device.start(options);
  device.drain();
  EXPECT_EQ(lines(), 1u) << "it has a pageview now";
}

}  // namespace
