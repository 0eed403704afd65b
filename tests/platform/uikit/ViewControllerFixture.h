#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBarController.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

using Style = UIViewController::ModalPresentationStyle;

// What was told to whom, in short: * loads, ↗ will appear, ↑ did appear, ↘ will disappear, ↓ did disappear;
// and what is to be done when it is told, once.
struct Story {
  std::string lines;
  std::map<std::string, std::function<void()>> reactions;

  void tell(const std::string& line) {
    lines += (lines.empty() ? "" : " ") + line;
    const auto found = reactions.find(line);
    if (found == reactions.end()) return;
    const auto reaction = std::move(found->second);
    reactions.erase(found);
    reaction();
  }
};

template <typename Base>
class Recording : public Base {
 public:
  Recording(Story& story, std::string name) : story_(story), name_(std::move(name)) { this->setTitle(name_); }

  void viewDidLoad() override { story_.tell(name_ + "*"); }
  void viewWillAppear(bool) override { story_.tell(name_ + "↗"); }
  void viewDidAppear(bool animated) override {
    Base::viewDidAppear(animated);
    story_.tell(name_ + "↑");
  }
  void viewWillDisappear(bool) override { story_.tell(name_ + "↘"); }
  void viewDidDisappear(bool) override { story_.tell(name_ + "↓"); }

 private:
  Story& story_;
  const std::string name_;
};
using Screen = Recording<UIViewController>;
using Stack = Recording<UINavigationController>;
using Tabs = Recording<UITabBarController>;

// A window, controllers that tell of what they are told, and taps.
class ViewControllerFixture : public testing::Test {
 protected:
  ViewControllerFixture() {
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
    window = UIWindow::create(CGRectMake(0, 0, 390, 844));
  }

  template <typename Kind = Screen>
  std::shared_ptr<Kind> make(const std::string& name, Style style = Style::FullScreen) {
    auto controller = std::make_shared<Kind>(story, name);
    controller->setModalPresentationStyle(style);
    return controller;
  }

  void show(const std::shared_ptr<UIViewController>& root) {
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    told();
  }

  std::string told() { return std::exchange(story.lines, {}); }

  bool isSeen(UIViewController& controller) {
    return controller.isViewAppeared() && controller.view()->window() == window.get();
  }

  // The first view of the class, depth first.
  static std::shared_ptr<UIView> find(const UIView& within, const std::string& className, int skip = 0) {
    return findFrom(within, className, skip);
  }
  static std::shared_ptr<UIView> findFrom(const UIView& within, const std::string& className, int& skip) {
    for (const auto& view : within.subviews()) {
      if (view->isa().name() == className && skip-- == 0) return view;
      if (auto found = findFrom(*view, className, skip)) return found;
    }
    return nullptr;
  }
  void tap(const std::string& className, int skip = 0) {
    const auto control = std::dynamic_pointer_cast<UIControl>(find(*window, className, skip));
    ASSERT_TRUE(control) << className;
    control->sendActionsForControlEvents(UIControlEvents::TouchUpInside);
  }
  std::string textOf(const std::string& className, int skip = 0) {
    const auto view = find(*window, className, skip);
    return view ? view->accessibilityLabel().value_or("").str() : "none";
  }

  Story story;
  std::shared_ptr<UIWindow> window;
};

}  // namespace platform
