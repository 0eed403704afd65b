#pragma once

#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "tests/platform/uikit/UIKitFixture.h"

namespace platform {

using Style = UIViewController::ModalPresentationStyle;

// Tells in short: * loads, ↗ will appear, ↑ did appear, ↘ will disappear, ↓ did disappear.
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

// A window, controllers by name, which tell of what they are told, and taps.
class ViewControllerFixture : public UIKitTest {
 protected:
  // What is done, what is told meanwhile, and the names of all who are on screen then.
  struct Step {
    const char* deed;
    const char* told;
    const char* seen;
  };
  void goes(std::initializer_list<Step> steps) {
    for (const auto& [deed, expected, onScreen] : steps) {
      SCOPED_TRACE(deed);
      does(deed);
      EXPECT_EQ(told(), expected);
      EXPECT_EQ(seen(), onScreen);
    }
  }

  // "Stack pushes B", "window hides", "tap UITabBarButton 1", "B dies".
  void does(const std::string& deed) {
    std::istringstream words(deed);
    std::string subject, verb, object;
    words >> subject >> verb >> object;
    if (subject == "tap") return tap(verb, object.empty() ? 0 : std::stoi(object));
    if (verb == "dies") return static_cast<void>(screens_.erase(subject));
    const auto other = object.empty() ? nullptr : screen(object);
    if (subject == "window") return windowDoes(verb, other);
    const auto one = screen(subject);
    const auto stack = std::dynamic_pointer_cast<UINavigationController>(one);
    if (verb == "presents") one->presentViewController(other, true, [this] { story.tell("presented"); });
    if (verb == "dismisses") one->dismissViewController(true, [this] { story.tell("dismissed"); });
    if (verb == "pushes") stack->pushViewController(other, true);
    if (verb == "pops") stack->popViewController(true);
    if (verb == "unwinds") stack->popToRootViewController(true);
  }
  void does(std::initializer_list<const char*> deeds) {
    for (const char* deed : deeds) does(deed);
    told();
  }

  // Made when it is first named; stacks and tabs are called so.
  std::shared_ptr<UIViewController> screen(const std::string& name) {
    auto& found = screens_[name];
    if (found) return found;
    if (name == "Stack") return found = std::make_shared<Recording<UINavigationController>>(story, name);
    if (name == "Tabs") return found = std::make_shared<Recording<UITabBarController>>(story, name);
    found = std::make_shared<Screen>(story, name);
    found->setModalPresentationStyle(Style::FullScreen);
    return found;
  }
  template <typename Kind>
  std::shared_ptr<Kind> screen(const std::string& name) {
    return std::dynamic_pointer_cast<Kind>(screen(name));
  }

  std::string seen() const {
    std::string names;
    for (const auto& [name, controller] : screens_) {
      if (!controller->isViewAppeared() || controller->view()->window() != window.get()) continue;
      names += (names.empty() ? "" : " ") + name;
    }
    return names;
  }
  // Whether the window shows the views of these and no others, back to front.
  bool holds(std::initializer_list<const char*> names) {
    UIView::Subviews views;
    for (const char* name : names) views.push_back(screen(name)->view());
    return window->subviews() == views;
  }

  // The first view of the class, depth first.
  static std::shared_ptr<UIView> find(const UIView& within, const std::string& className, int skip = 0) {
    return findFrom(within, className, skip);
  }
  void tap(const std::string& className, int skip) {
    const auto control = std::dynamic_pointer_cast<UIControl>(find(*window, className, skip));
    ASSERT_TRUE(control) << className;
    control->sendActionsForControlEvents(UIControlEvents::TouchUpInside);
  }
  std::string textOf(const std::string& className) {
    const auto view = find(*window, className);
    return view ? view->accessibilityLabel().value_or("").str() : "none";
  }

  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(0, 0, 390, 844));

 private:
  static std::shared_ptr<UIView> findFrom(const UIView& within, const std::string& className, int& skip) {
    for (const auto& view : within.subviews()) {
      if (view->isa().name() == className && skip-- == 0) return view;
      if (auto found = findFrom(*view, className, skip)) return found;
    }
    return nullptr;
  }
  void windowDoes(const std::string& verb, const std::shared_ptr<UIViewController>& root) {
    if (verb == "takes" || verb == "shows") window->setRootViewController(root);
    if (verb == "shows") window->makeKeyAndVisible();
    if (verb == "hides" || verb == "returns") window->setHidden(verb == "hides");
  }

  std::map<std::string, std::shared_ptr<UIViewController>> screens_;
};

}  // namespace platform
