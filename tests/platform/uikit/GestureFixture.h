#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UITouch.h"
#include "platform/uikit/UITouchInput.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

using Log = std::vector<std::string>;

// A view that writes down what it is told, with the number of fingers and their phase.
class Pad : public UIView {
  NS_OBJECT(Pad, UIView)
 public:
  explicit Pad(Log& log) : UIView(CGRectMake(0, 0, 300, 300)), log_(log) { setMultipleTouchEnabled(true); }
  void touchesBegan(const Touches& touches, UIEvent*) override { note("began", touches); }
  void touchesMoved(const Touches& touches, UIEvent*) override { note("moved", touches); }
  void touchesEnded(const Touches& touches, UIEvent*) override { note("ended", touches); }
  void touchesCancelled(const Touches& touches, UIEvent*) override { note("cancelled", touches); }

 private:
  void note(const std::string& what, const Touches& touches) {
    for (const auto& touch : touches) log_.push_back(what + " " + std::to_string(int(touch->phase())));
  }
  Log& log_;
};

// The target of every recogniser: writes down the state in which it is called.
class Target : public NSObject {
  NS_OBJECT(Target, NSObject)
 public:
  static void describe(ClassBuilder<Target>& c) {
    c.action("act:", &Target::act).action("press", &Target::press);
  }
  explicit Target(Log& log) : log_(log) {}
  std::function<void(UIGestureRecognizer&)> onAction = [](UIGestureRecognizer&) {};

 private:
  void act(UIGestureRecognizer* sender) {
    log_.push_back("act " + std::to_string(int(sender->state())));
    onAction(*sender);
  }
  void press() { log_.push_back("press"); }
  Log& log_;
};

// A window with a pad on it, and fingers.
class GestureFixture : public testing::Test {
 protected:
  GestureFixture() {
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
    window->makeKeyAndVisible();
    window->addSubview(pad);
  }

  template <class T>
  std::shared_ptr<T> recognizer(UIView& view) {
    auto made = UIGestureRecognizer::create<T>(target.get(), SEL("act:"));
    view.addGestureRecognizer(made);
    return made;
  }
  void down(double x, double y, int finger = 1) { input.touchBegan(finger, {x, y}, window); }
  void move(double x, double y, int finger = 1) { input.touchMoved(finger, {x, y}); }
  void up(int finger = 1) { input.touchEnded(finger); }
  void tap(double x, double y) {
    down(x, y);
    up();
  }
  Log take() { return std::exchange(log, {}); }

  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  Log log;
  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(0, 0, 400, 800));
  std::shared_ptr<Pad> pad = std::make_shared<Pad>(log);
  std::shared_ptr<Target> target = std::make_shared<Target>(log);
  UITouchInput input;
};

}  // namespace platform
