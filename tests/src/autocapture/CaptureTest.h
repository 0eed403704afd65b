#pragma once

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>

#include "tests/src/autocapture/CaptureFixture.h"

// An app with a button on its one screen, a finger to use it, and what of that arrives at the service.
class CaptureTest : public testing::Test {
 protected:
  CaptureTest() {
    window->setRootViewController(controller);
    button->setFrame(platform::CGRectMake(10, 10, 100, 40));
    controller->payButton = button;
    controller->view()->addSubview(button);
    window->makeKeyAndVisible();
    button->addTarget(controller, platform::SEL("pay:"), platform::UIControlEvents::TouchUpInside);
  }

  void start(std::function<void(KovaOptions&)> adjust = nullptr) {
    const auto options = device.options();
    if (adjust) adjust(*options);
    device.startAndSettle(options);
  }
  // With screens and gestures, and the log that tells when a touch has left the cache; until all of the start
  // has arrived.
  void startWhole(const std::shared_ptr<KovaAutocaptureEnrichmentDelegate>& delegate = nullptr) {
    const auto options = device.optionsWithScreens();
    options->setEnableGestureAutocapture(true);
    options->setDisableVisualizerPairingGesture(true);  // a recogniser that is not the app's
    options->setDebug(true);
    options->setAutocaptureEnrichmentDelegate(delegate);
    device.start(options);
    appear();
    device.settle();
    device.advance(15);
    device.settle();
  }
  void appear() {
    window->setHidden(true);
    window->setHidden(false);
    device.drain();
  }
  template <class View>
  std::shared_ptr<View> place(std::shared_ptr<View> view) {
    controller->view()->addSubview(view);
    return view;
  }
  std::vector<std::string> touchesLogged() const {
    return device.logLinesWith("Event Type                              : touch");
  }
  void tap(platform::CGPoint point = {20, 20}) {
    input.touchBegan(1, point, window);
    input.touchEnded(1);
  }
  // The event entries of all messages after that of the installation.
  std::vector<std::string> received() {
    device.drain();
    device.settle();  // a pageview on its way would hold up the rest
    device.advance(15);
    device.settle();
    std::vector<std::string> events;
    for (const platform::Dictionary& message : device.receivedMessages()) {
      const std::string event = json(at(message, "event"));
      if (event.find("touchEvent") != std::string::npos) events.push_back(event);
    }
    return events;
  }

  SimulatedDevice device;
  std::shared_ptr<platform::UIWindow> window =
      platform::UIWindow::create(platform::CGRectMake(0, 0, 320, 480));
  std::shared_ptr<CartController> controller = std::make_shared<CartController>();
  std::shared_ptr<platform::UIButton> button = std::make_shared<platform::UIButton>("Pay");
  platform::UITouchInput input;
};
