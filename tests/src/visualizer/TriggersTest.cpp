// The hidden gesture that starts pairing, and the window in which pairing is confirmed.

#include <algorithm>

#include "platform/simulator/SimulatedUser.h"
#include "platform/uikit/UIKit.h"
#include "src/core/tracker/KIEVTriggerDetection.h"
#include "src/visualizer/KIAlertContainerViewController.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using namespace testing;

namespace {

constexpr const char* kTriggered = "Kova: EV pairing gesture triggered; enabling pairing mode.";

class TriggersTest : public TrackerTest {
 protected:
  std::shared_ptr<KovaOptions> options() const {
    auto options = device.options();
    options->setEventVisualizerWebSocketBaseUrl(NSURL::create("http://127.0.0.1:9/"));  // nobody listens
    return options;
  }
  // What is logged about the gesture.
  std::vector<std::string> press(double seconds, int fingers, const UIView& view) {
    device.clearLog();
    user.longPresses(view, seconds, fingers);
    return device.logLinesWith("EV pairing gesture");
  }
  static std::size_t recognizersOf(const UIWindow& window) { return window.gestureRecognizers().size(); }

  SimulatedUser user{[this](double seconds) { device.advance(seconds); }};
};

TEST_F(TriggersTest, FourFingersForFiveSecondsStartPairing) {
  const auto window = device.show(std::make_shared<UIViewController>());
  device.startAndSettle(options());
  EXPECT_THAT(press(6, 3, *window), IsEmpty());
  EXPECT_THAT(press(6, 5, *window), IsEmpty());
  EXPECT_THAT(press(4.9, 4, *window), IsEmpty());
  EXPECT_THAT(press(5, 4, *window), ElementsAre(kTriggered));
  EXPECT_EQ(device.logLinesWith("Enabling Event Visualizer.").size(), 1u);

  const auto coolingDown = press(10, 4, *window);
  ASSERT_EQ(coolingDown.size(), 1u);
  EXPECT_THAT(coolingDown[0],
              MatchesRegex("Kova: Not recognizing EV pairing gesture less than 20\\.000000 seconds after "
                           "the last one \\(2026-01-01 00:0.:.. .0000\\)\\."));
  user.waits(21);
  EXPECT_THAT(press(6, 4, *window), ElementsAre(kTriggered));
}

TEST_F(TriggersTest, WatchesEveryWindowUnlessTheOptionsAreAgainstIt) {
  const auto first = device.show(std::make_shared<UIViewController>());
  const auto against = options();
  against->setDisableVisualizerPairingGesture(true);
  device.startAndSettle(against);
  EXPECT_EQ(recognizersOf(*first), 0u);

  const auto debug = options();
  debug->setDebug(true);
  device.startAndSettle(debug);
  EXPECT_EQ(recognizersOf(*first), 1u);
  device.startAndSettle(options());
  EXPECT_EQ(recognizersOf(*first), 1u) << "one detector is enough";
  const auto watching =
      std::dynamic_pointer_cast<UILongPressGestureRecognizer>(first->gestureRecognizers()[0]);
  EXPECT_EQ(watching->allowableMovement(), 20);

  device.clearLog();
  const auto second = device.show(std::make_shared<UIViewController>());
  EXPECT_THAT(device.logLinesWith("KIEVTriggerDetection"),
              ElementsAre("[KOVA DEBUG]: KIEVTriggerDetection: Adding gesture recognizer to UIWindow: " +
                          second->description()));
  second->setHidden(true);
  second->setHidden(false);
  EXPECT_THAT(press(5, 4, *second), ElementsAre(kTriggered)) << "once, though two watch";
}

TEST_F(TriggersTest, CanBeDisabledForGood) {
  const auto window = device.show(std::make_shared<UIViewController>());
  KIEVTriggerDetection::disableVisualizerPairingGesture();
  device.startAndSettle(options());
  EXPECT_EQ(recognizersOf(*window), 0u);
  EXPECT_FALSE(KIEVTriggerDetection::sharedInstance());
}

TEST_F(TriggersTest, TheLowThresholdTakesOneFingerAndRecordsTheDetection) {
  const auto window = device.show(std::make_shared<UIViewController>());
  const auto low = options();
  low->setTestOnlyLowThresholdEVTriggerDetection(true);
  device.startAndSettle(low);
  EXPECT_THAT(press(1.9, 1, *window), IsEmpty());
  EXPECT_THAT(press(2, 1, *window), ElementsAre(kTriggered));
  user.waits(1.1);
  EXPECT_THAT(press(2, 1, *window), ElementsAre(kTriggered));
  device.upload();
  EXPECT_EQ(std::ranges::count(sentEvents(), "kova.testing.KovaEVTrigger"), 2);
}

class AlertContainerTest : public TrackerTest {
 protected:
  std::shared_ptr<KIAlertContainerViewController> container =
      std::make_shared<KIAlertContainerViewController>();
};

TEST_F(AlertContainerTest, CoversTheAppAndGivesTheKeyWindowBack) {
  const auto app = device.show(std::make_shared<UIViewController>());
  container->moveToTop();
  container->moveToTop();
  auto window = device.application->keyWindow();
  ASSERT_NE(window, app);
  EXPECT_FALSE(window->isHidden());
  EXPECT_EQ(window->windowLevel(), UIWindowLevelAlert);
  EXPECT_EQ(window->windowScene(), device.scene);
  EXPECT_EQ(window->rootViewController(), container);
  EXPECT_EQ(window->bounds().size, UIScreen::mainScreen().bounds().size);

  // An alert is still there when the container is put away.
  container->presentViewController(std::make_shared<UIAlertController>("Confirm?", std::nullopt), true);
  const std::weak_ptr<UIWindow> weakWindow = window;
  const std::weak_ptr<KIAlertContainerViewController> weakContainer = container;
  window.reset();
  container.reset();
  ASSERT_FALSE(weakContainer.expired()) << "the two keep each other";
  weakContainer.lock()->removeAndRestorePrevious();
  EXPECT_TRUE(app->isKeyWindow());
  EXPECT_TRUE(weakContainer.expired());
  EXPECT_TRUE(weakWindow.expired());
}

TEST_F(AlertContainerTest, DoesWithoutAWindowBefore) {
  container->removeAndRestorePrevious();
  container->moveToTop();
  const std::weak_ptr<UIWindow> window = device.application->keyWindow();
  ASSERT_FALSE(window.expired());
  container->removeAndRestorePrevious();
  EXPECT_FALSE(device.application->keyWindow());
  EXPECT_TRUE(window.expired());

  // Shown again after the app's window has gone: that one is not needed to go on.
  auto app = device.show(std::make_shared<UIViewController>());
  container->moveToTop();
  app->setHidden(true);
  app.reset();
  container->removeAndRestorePrevious();
  EXPECT_FALSE(container->isActive());
  EXPECT_FALSE(device.application->keyWindow());
}

}  // namespace
