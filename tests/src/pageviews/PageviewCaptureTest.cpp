// The pageviews of screens: which controllers get one, when, and what it says.

#include <limits>
#include <regex>

#include "platform/foundation/NSNotificationCenter.h"
#include "src/core/KIBailer.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"
#include "tests/src/autocapture/CaptureTest.h"

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
  void start(std::string_view systemVersion = "17.0") {
    device.setSystemVersion(systemVersion);
    device.start(options);
  }
  // "CartController:Cart" for each pageview that was uploaded since the last call.
  std::vector<std::string> newPageviews() {
    device.upload();
    const auto targets = device.receivedTargets("/h");
    std::vector<std::string> pageviews;
    for (; seen_ < targets.size(); ++seen_) {
      std::smatch match;
      EXPECT_TRUE(std::regex_search(targets[seen_], match, std::regex("&h=([^&]*)&t=([^&]*)&")));
      pageviews.push_back(match[1].str() + ":" + match[2].str());
    }
    return pageviews;
  }
  void goAndComeBack() {
    device.application->enterBackground();
    device.application->enterForeground();
  }
  std::string pageviewOfLatestMessage() const {
    return std::regex_replace(json(at(device.receivedMessages().back(), "pageviewInfo")),
                              std::regex("[0-9]{16}"), "ID");
  }

  SimulatedDevice device;
  std::shared_ptr<KovaOptions> options = device.optionsWithScreens();
  std::shared_ptr<Enrichment> enrichment = std::make_shared<Enrichment>();

 private:
  std::size_t seen_ = 0;
};

TEST_F(PageviewCaptureTest, AnAppearingScreenIsUploadedAndGivenToEvents) {
  start();
  const auto cart = screen("Cart");
  cart->setAccessibilityLabel("Your cart");
  device.show(cart);
  Kova::track("Checkout");
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"));
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
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:"));
  const auto second = screen("Own");
  second->navigationItem()->setTitle("In the bar");
  navigation->pushViewController(second, false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:In%20the%20bar"));
  const auto inside = screen("Own");
  inside->navigationItem()->setTitle("In no bar");
  second->addChildViewController(inside);
  inside->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Own")) << "the bar shows its parent's";

  // Only a tab bar itself is asked for its tab's title, and it stands for its selected screen unless empty.
  const auto tabs = std::make_shared<UITabBarController>();
  const auto tab = screen("Own");
  tab->tabBarItem()->setTitle("On the tab");
  tabs->setViewControllers({tab});
  device.show(tabs);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Own"));

  options->setDisableTitleCapture(true);
  options->setDisableAccessibilityLabelCapture(true);
  enrichment->answer = [](UIViewController&) {
    return Dictionary{{"title", "Hidden"}, {"screenA11yLabel", "Hidden"}, {"viewController", "Renamed"}};
  };
  options->setAutocaptureEnrichmentDelegate(enrichment);
  device.show(screen("Hidden"));
  Kova::track("Checkout");
  EXPECT_THAT(newPageviews(), ElementsAre("Renamed:"));
  EXPECT_THAT(pageviewOfLatestMessage(), HasSubstr(R"("screenA11yLabel":"","timestamp")"));
}

TEST_F(PageviewCaptureTest, ContainersStandForTheScreenThatTheyShow) {
  start();
  const auto cart = screen("Cart");
  const auto tabs = std::make_shared<UITabBarController>();
  tabs->setViewControllers({UINavigationController::create(cart), screen<AccountController>("Account")});
  device.show(tabs);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"))
      << "tabs, navigation and screen have appeared";
  tabs->setSelectedIndex(1);
  tabs->setSelectedIndex(0);
  EXPECT_THAT(newPageviews(), ElementsAre("AccountController:Account", "CartController:Cart"));

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
  const auto cart = screen("Cart");
  const auto window = device.show(cart);
  cart->viewDidAppear(false);
  device.show(std::make_shared<UIInputWindowController>());
  cart->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart")) << "the system's own screens do not count";
  device.show(std::make_shared<AppInputController>());
  cart->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), ElementsAre("AppInputController:", "CartController:Cart"));
  EXPECT_EQ(KOVA_classesToIgnore().size(), 40u);
}

TEST_F(PageviewCaptureTest, WhatIsSwitchedOffOrNotVisibleIsNotRecorded) {
  options->setDebug(true);
  start();
  Kova::setTrackingEnabled(false);
  const auto cart = screen("Cart");
  const auto window = device.show(cart);
  EXPECT_THAT(device.logLinesWith("ignoring"),
              ElementsAre("[KOVA DEBUG]: Tracking disabled, ignoring: <Page View>"));
  Kova::setTrackingEnabled(true);
  cart->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), IsEmpty()) << "declined or not, it was the last one tracked";

  // The app switcher's picture shows screens that are not there.
  const auto unseen = screen<AccountController>("Unseen");
  device.application->performSnapshotsWithAction([&] { unseen->viewDidAppear(false); }, device.scene.get(),
                                                 {});
  EXPECT_THAT(newPageviews(), IsEmpty());
  cart->viewDidAppear(false);
  unseen->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart", "AccountController:Unseen"));

  options->setDisableAutocaptureWhenBackgrounded(true);
  cart->viewDidAppear(false);
  unseen->viewDidAppear(false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"));
}

TEST_F(PageviewCaptureTest, ComingBackToTheForegroundRecordsTheScreenOfTheKeyWindowAgain) {
  start();
  const auto window = device.show(screen("Cart"));
  EXPECT_THAT(newPageviews(), SizeIs(1));
  goAndComeBack();
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"))
      << "once, though scene and app have come back";

  const auto overlay = device.show(std::make_shared<UIInputWindowController>());
  goAndComeBack();
  EXPECT_THAT(newPageviews(), IsEmpty()) << "the screen behind is another window's";
  window->makeKeyWindow();

  // What covers it has no pageview of its own, and the screen below is not in the window any more.
  const auto cover = std::make_shared<UIInputWindowController>();
  cover->setModalPresentationStyle(UIViewController::ModalPresentationStyle::FullScreen);
  window->rootViewController()->presentViewController(cover, false);
  goAndComeBack();
  EXPECT_THAT(newPageviews(), IsEmpty());

  options->setDisableViewControllerAutocapture(true);
  goAndComeBack();
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart")) << "the latest of the session, again";
}

TEST_F(PageviewCaptureTest, AReturnThatIsNoBackgroundAnyMoreRecordsAndOneThatRecordsNothingSaysSo) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  options->setDebug(true);
  start();
  const auto window = device.show(screen("Cart"));
  EXPECT_THAT(newPageviews(), SizeIs(1));
  goAndComeBack();
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"));
  device.advance(5);
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), IsEmpty());
  device.application->enterBackground();
  Kova::setTrackingEnabled(false);
  device.application->enterForeground();
  device.advance(5);
  EXPECT_THAT(device.logLinesWith("Uploads wait for a pageview"), SizeIs(1));
}

TEST_F(PageviewCaptureTest, ComingBackWithoutScenesIsUpToTheApp) {
  options->setDisableAutocaptureWhenBackgrounded(true);
  start("12.4");
  auto window = device.show(screen("Cart"));
  EXPECT_EQ(device.scene, nullptr);
  EXPECT_THAT(newPageviews(), SizeIs(1));
  NSNotificationCenter::defaultCenter().post(UISceneWillEnterForegroundNotification, nullptr);
  EXPECT_THAT(newPageviews(), IsEmpty());
  goAndComeBack();
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart"));
  window = nullptr;
  goAndComeBack();
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart")) << "without a key window, the latest one";
}

TEST_F(PageviewCaptureTest, ANewSessionRecordsTheVisibleScreensOnceBeforeItsEvents) {
  start();
  const auto root = screen("Cart");
  const auto window = device.show(root);
  const auto sheet = screen<AccountController>("Account");
  sheet->setModalPresentationStyle(UIViewController::ModalPresentationStyle::OverCurrentContext);
  root->presentViewController(sheet, false);
  EXPECT_THAT(newPageviews(), SizeIs(2));
  device.advance(301);
  EXPECT_THAT(newPageviews(), IsEmpty());
  for (int i = 0; i < 3; ++i) Kova::track("Checkout");
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart", "AccountController:Account"));
  EXPECT_THAT(pageviewOfLatestMessage(), HasSubstr("AccountController"));

  Kova::identify("ada");
  for (const auto& another : {+[] { Kova::identify("grace"); }, +[] { Kova::resetIdentity(); }}) {
    another();
    EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cart", "AccountController:Account"));
  }
  const auto cover = screen("Cover");
  cover->setModalPresentationStyle(UIViewController::ModalPresentationStyle::FullScreen);
  root->dismissViewController(false);
  root->presentViewController(cover, false);
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cover"));
  device.advance(301);
  Kova::track("Checkout");
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:Cover")) << "the other is covered";
  device.advance(301);
  device.application->enterBackground();
  Kova::track("Checkout");
  EXPECT_THAT(newPageviews(), IsEmpty()) << "nothing is visible";
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
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:3", "CartController:3"));
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
  EXPECT_THAT(newPageviews(), ElementsAre("CartController:3"))
      << "once, though asked for while it is described";

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
