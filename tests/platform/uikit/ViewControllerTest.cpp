#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBarController.h"
#include "platform/uikit/UIWindow.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

class ViewControllerTest : public testing::Test {
 protected:
  ViewControllerTest() {
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

TEST_F(ViewControllerTest, ARootAppearsAndDisappearsWithItsWindow) {
  auto a = make("A"), b = make("B");
  window->setRootViewController(a);
  EXPECT_EQ(told(), "");
  window->makeKeyAndVisible();
  EXPECT_EQ(told(), "A* A↗ A↑");
  window->setHidden(true);
  EXPECT_EQ(told(), "A↘ A↓");
  window->setHidden(false);
  told();
  window->setRootViewController(b);
  EXPECT_FALSE(a->isViewAppeared());
  EXPECT_FALSE(a->view()->window());
  EXPECT_TRUE(isSeen(*b));
}

TEST_F(ViewControllerTest, PushAndPop) {
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B"), c = make("C");
  stack->pushViewController(a, false);
  window->setRootViewController(stack);
  window->makeKeyAndVisible();
  EXPECT_EQ(told(), "A* Stack* Stack↗ A↗ A↑ Stack↑");

  stack->pushViewController(b, true);
  EXPECT_EQ(told(), "B* A↘ B↗ A↓ B↑");
  EXPECT_TRUE(isSeen(*b));
  EXPECT_FALSE(a->view()->superview());
  EXPECT_EQ(textOf("_UIButtonBarButton"), "A");

  story.reactions["B↘"] = [&] {
    EXPECT_EQ(stack->topViewController(), a);
    EXPECT_EQ(b->navigationController(), stack.get());
  };
  tap("_UIButtonBarButton");
  EXPECT_EQ(told(), "B↘ A↗ B↓ A↑");
  EXPECT_FALSE(b->parentViewController());
  EXPECT_EQ(textOf("_UIButtonBarButton"), "none");
  EXPECT_FALSE(stack->popViewController(true));

  stack->pushViewController(b, false);
  stack->pushViewController(c, false);
  stack->pushViewController(a, false);  // refused
  told();
  stack->popToRootViewController(true);
  EXPECT_EQ(told(), "C↘ A↗ C↓ A↑");
  EXPECT_THAT(stack->viewControllers(), ElementsAre(a));
}

TEST_F(ViewControllerTest, TabsChangeByTaps) {
  auto tabs = make<Tabs>("Tabs");
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B"), c = make("C");
  stack->pushViewController(a, false);
  tabs->setViewControllers({stack, b});
  show(tabs);
  EXPECT_TRUE(isSeen(*a));

  tap("UITabBarButton", 1);
  EXPECT_EQ(told(), "B* B↗ Stack↘ A↘ A↓ Stack↓ B↑");
  stack->pushViewController(c, true);
  EXPECT_EQ(told(), "C*") << "covered: nobody appears";
  tap("UITabBarButton", 0);
  EXPECT_EQ(told(), "Stack↗ C↗ B↘ B↓ C↑ Stack↑");
  tap("UITabBarButton", 0);
  EXPECT_EQ(stack->topViewController(), a) << "a second tap goes to the root";
  EXPECT_TRUE(isSeen(*a));
  told();
  tabs->setViewControllers({b, a});  // out of its stack
  EXPECT_EQ(a->parentViewController(), tabs.get());
  EXPECT_TRUE(isSeen(*b));
  EXPECT_FALSE(stack->isViewAppeared());
  EXPECT_FALSE(a->isViewAppeared());
  tabs->setSelectedIndex(2);
  EXPECT_EQ(tabs->selectedIndex(), 0u);
}

TEST_F(ViewControllerTest, PresentedFullScreenHidesThePresenter) {
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B"), c = make("C");
  stack->pushViewController(a, false);
  show(stack);
  a->presentViewController(b, true, [&] { story.tell("presented"); });
  EXPECT_EQ(told(), "Stack↘ A↘ B* B↗ B↑ A↓ Stack↓ presented");
  EXPECT_EQ(b->presentingViewController(), stack.get());
  EXPECT_EQ(a->presentedViewController(), b);
  EXPECT_FALSE(a->view()->window());
  EXPECT_TRUE(isSeen(*b));

  window->setHidden(true);
  EXPECT_EQ(told(), "B↘ B↓");
  window->setHidden(false);
  EXPECT_EQ(told(), "B↗ B↑");
  EXPECT_EQ(window->subviews().back(), b->view());

  window->setRootViewController(a = make("Other"));
  EXPECT_THAT(window->subviews(), ElementsAre(a->view())) << "what was presented goes with its presenter";
  window->setRootViewController(stack);
  EXPECT_THAT(window->subviews(), ElementsAre(b->view()));
  EXPECT_TRUE(isSeen(*b));
  a = std::static_pointer_cast<Screen>(stack->topViewController());

  b->presentViewController(c, true);
  told();
  b->dismissViewController(true);
  EXPECT_EQ(told(), "C↘ B↗ B↑ C↓");
  b->dismissViewController(true, [&] { story.tell("dismissed"); });
  EXPECT_EQ(told(), "B↘ Stack↗ A↗ A↑ Stack↑ B↓ dismissed");
  EXPECT_TRUE(isSeen(*a));
  EXPECT_THAT(window->subviews(), ElementsAre(stack->view()));
}

TEST_F(ViewControllerTest, APlainPresentationIsASheetFromSystemThirteenOn) {
  const std::string sheetIsPresented = "Sheet* Sheet↗ Sheet↑ Sheet↘ Sheet↓";
  const std::string screenIsPresented = "Root↘ Sheet* Sheet↗ Sheet↑ Root↓ Sheet↘ Root↗ Root↑ Sheet↓";
  struct {
    const char* system;
    Style style;
    bool isSheet;
  } const cases[] = {{"17.0", Style::Automatic, true},
                     {"13.0", Style::Automatic, true},
                     {"12.4", Style::Automatic, false},
                     {"12.4", Style::PageSheet, true},
                     {"17.0", Style::FullScreen, false}};
  for (const auto& [system, style, isSheet] : cases) {
    SCOPED_TRACE(system);
    NSProcessInfo::processInfo().setOperatingSystemVersionString(system);
    const auto root = make("Root"), sheet = make("Sheet", style);
    show(root);
    root->presentViewController(sheet, false);
    EXPECT_EQ(isSeen(*root), isSheet);
    EXPECT_EQ(window->hitTest({5, 5}, nullptr), sheet->view().get());
    root->dismissViewController(false);
    EXPECT_EQ(told(), isSheet ? sheetIsPresented : screenIsPresented);
    EXPECT_TRUE(isSeen(*root));
    EXPECT_THAT(window->subviews(), ElementsAre(root->view()));
  }
}

TEST_F(ViewControllerTest, WhatIsPresentedGoesWithARootThatIsReplacedOutOfSight) {
  for (const auto style : {Style::FullScreen, Style::OverCurrentContext}) {
    auto root = make("Root"), presented = make("Presented", style), other = make("Other");
    show(root);
    root->presentViewController(presented, false);
    window->setHidden(true);
    told();
    window->setRootViewController(other);
    EXPECT_THAT(window->subviews(), IsEmpty());
    EXPECT_EQ(told(), "");
    window->setHidden(false);
    EXPECT_THAT(window->subviews(), ElementsAre(other->view()));
    EXPECT_EQ(told(), "Other* Other↗ Other↑");
  }
}

TEST_F(ViewControllerTest, AStackOfPresentationsGoesAtOnce) {
  auto root = make("Root"), a = make("A"), b = make("B", Style::OverCurrentContext), c = make("C");
  show(root);
  root->presentViewController(a, false);
  a->presentViewController(b, false);
  EXPECT_TRUE(a->isViewAppeared()) << "what is over it does not cover it";
  b->presentViewController(c, false);
  EXPECT_EQ(root->presentedViewController()->presentedViewController()->presentedViewController(), c);
  told();
  root->dismissViewController(true);
  EXPECT_EQ(told(), "C↘ A↘ Root↗ Root↑ C↓ A↓");
  EXPECT_THAT(window->subviews(), ElementsAre(root->view()));
  for (const auto& controller : {a, b, c}) EXPECT_FALSE(controller->presentingViewController());
}

TEST_F(ViewControllerTest, WhatCannotBePresentedIsRefused) {
  std::vector<std::string> warnings;
  SystemLog::setSink([&](std::string_view line) { warnings.emplace_back(line); });
  auto root = make("Root"), a = make("A"), b = make("B");
  root->presentViewController(a, false);
  show(root);
  root->presentViewController(nullptr, false);
  root->presentViewController(a, false);
  root->presentViewController(b, false);
  a->presentViewController(root, false);
  a->presentViewController(a, false);
  SystemLog::setSink(nullptr);
  EXPECT_EQ(root->presentedViewController(), a);
  EXPECT_FALSE(a->presentedViewController());
  EXPECT_THAT(warnings,
              ElementsAre(HasSubstr("window hierarchy"), HasSubstr("nil"), HasSubstr("already presenting"),
                          HasSubstr("active already"), HasSubstr("active already")));
  EXPECT_THROW(a->addChildViewController(root), std::invalid_argument);
}

TEST_F(ViewControllerTest, AnAppsOwnContainerAndUnbalancedCalls) {
  auto outer = make("Outer"), inner = make("Inner");
  show(outer);
  outer->addChildViewController(inner);
  inner->beginAppearanceTransition(true, false);
  inner->beginAppearanceTransition(true, false);
  outer->view()->addSubview(inner->view());
  inner->endAppearanceTransition();
  inner->endAppearanceTransition();
  inner->beginAppearanceTransition(true, false);
  inner->endAppearanceTransition();
  EXPECT_EQ(told(), "Inner* Inner↗ Inner↑");
  window->setHidden(true);
  EXPECT_EQ(told(), "Outer↘ Inner↘ Inner↓ Outer↓");
  inner->beginAppearanceTransition(true, false);
  EXPECT_EQ(told(), "") << "its container is not on screen";
  window->setHidden(false);
  told();
  inner->beginAppearanceTransition(false, false);
  inner->beginAppearanceTransition(true, false);  // turned back half way
  inner->endAppearanceTransition();
  EXPECT_EQ(told(), "Inner↘ Inner↓ Inner↗ Inner↑");
  inner->removeFromParentViewController();
  EXPECT_EQ(told(), "Inner↘ Inner↓");
  EXPECT_THAT(outer->childViewControllers(), IsEmpty());
}

TEST_F(ViewControllerTest, NavigationFromWithinTheCalls) {
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B"), c = make("C");
  stack->pushViewController(a, false);
  story.reactions["A↗"] = [&] { stack->pushViewController(b, false); };
  window->setRootViewController(stack);
  window->makeKeyAndVisible();
  EXPECT_EQ(told(), "A* Stack* Stack↗ A↗ B* A↘ B↗ A↓ B↑ Stack↑");
  story.reactions["C↑"] = [&] { stack->popViewController(false); };
  stack->pushViewController(c, false);
  EXPECT_EQ(told(), "C* B↘ C↗ B↓ C↑ C↘ B↗ C↓ B↑");
  EXPECT_TRUE(isSeen(*b));
}

TEST_F(ViewControllerTest, PresentationFromWithinTheCalls) {
  auto root = make("Root"), a = make("A"), b = make("B");
  story.reactions["Root↑"] = [&] { root->presentViewController(a, false); };
  show(root);
  EXPECT_TRUE(isSeen(*a));
  story.reactions["A↘"] = [&] { a->dismissViewController(false); };
  story.reactions["Root↑"] = [&] { root->presentViewController(a, false); };
  root->dismissViewController(false);
  EXPECT_EQ(told(), "A↘ Root↗ Root↑ A↓ Root↘ A↗ A↑ Root↓");
  EXPECT_TRUE(isSeen(*a));

  a->presentViewController(b, false);
  story.reactions["B↘"] = [&] { root->dismissViewController(false); };
  a->dismissViewController(false);
  EXPECT_TRUE(isSeen(*root));
  EXPECT_FALSE(a->isViewAppeared() || b->isViewAppeared());
  EXPECT_THAT(window->subviews(), ElementsAre(root->view()));

  for (const char* moment : {"Root↘", "B↗", "B↑"}) {
    story.reactions[moment] = [&] { root->dismissViewController(false); };
    root->presentViewController(b, false);
    EXPECT_TRUE(isSeen(*root)) << moment;
    EXPECT_FALSE(b->isViewAppeared() || root->presentedViewController()) << moment;
  }

  root->presentViewController(b, false);
  story.reactions["Root↑"] = [&] { root->presentViewController(a, false); };
  story.reactions["A↑"] = [&] { a->dismissViewController(false); };
  root->dismissViewController(false);
  EXPECT_TRUE(isSeen(*root));
  EXPECT_FALSE(root->presentedViewController());
}

TEST_F(ViewControllerTest, DeathsLeaveNothingDangling) {
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B"), c = make("C");
  stack->pushViewController(a, false);
  show(stack);
  std::weak_ptr<UIViewController> seen = b;
  story.reactions["B↑"] = [&] {
    b = nullptr;
    stack->popViewController(false);
  };
  stack->pushViewController(b, false);
  EXPECT_TRUE(seen.expired());
  a->presentViewController(c, false);
  const auto orphanedView = a->view();
  a = nullptr;
  window->setRootViewController(nullptr);
  stack = nullptr;
  EXPECT_FALSE(orphanedView->viewController());
  EXPECT_FALSE(c->presentingViewController());
  EXPECT_THAT(window->subviews(), IsEmpty());

  auto parent = make("Parent");
  parent->addChildViewController(c);
  parent = nullptr;
  EXPECT_FALSE(c->parentViewController());

  show(c);
  story.reactions["C↓"] = [&] { c = nullptr; };
  story.reactions["C↘"] = [&] { window->setRootViewController(nullptr); };
  window->setHidden(true);
  EXPECT_FALSE(c);
}

TEST_F(ViewControllerTest, AnAlertIsGoneWhenItsHandlerRuns) {
  auto root = make("Root");
  show(root);
  auto alert = std::make_shared<UIAlertController>("Delete?", "There is no way back.");
  const auto add = [&](const char* title, UIAlertAction::Style style) {
    alert->addAction(std::make_shared<UIAlertAction>(title, style, [&, title](UIAlertAction& action) {
      EXPECT_EQ(action.title(), title);
      EXPECT_FALSE(root->presentedViewController());
      EXPECT_FALSE(alert->view()->window());
      story.tell(title);
    }));
  };
  add("Delete", UIAlertAction::Style::Destructive);
  add("Cancel", UIAlertAction::Style::Cancel);
  root->presentViewController(alert, true);
  EXPECT_EQ(told(), "") << "what is below stays";
  EXPECT_EQ(textOf("_UIAlertControllerActionView", 0), "Cancel");
  const auto button = find(*window, "_UIAlertControllerActionView", 1);
  tap("_UIAlertControllerActionView", 1);
  std::static_pointer_cast<UIControl>(button)->sendActionsForControlEvents(UIControlEvents::TouchUpInside);
  EXPECT_EQ(told(), "Delete");
  EXPECT_TRUE(isSeen(*root));
}

TEST_F(ViewControllerTest, TheResponderChain) {
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B");
  stack->pushViewController(a, false);
  show(stack);
  EXPECT_EQ(a->view()->nextResponder(), a.get());
  EXPECT_EQ(a->nextResponder(), stack->view().get());
  EXPECT_EQ(stack->view()->nextResponder(), stack.get());
  EXPECT_EQ(stack->nextResponder(), window.get());
  a->presentViewController(b, false);
  EXPECT_EQ(b->nextResponder(), window.get());
  b->view()->removeFromSuperview();
  EXPECT_EQ(b->nextResponder(), stack.get());
}

TEST_F(ViewControllerTest, BarsFollowTitlesAndContentsFollowTheWindow) {
  auto tabs = make<Tabs>("Tabs");
  auto stack = make<Stack>("Stack");
  auto a = make("A"), b = make("B");
  stack->pushViewController(a, false);
  stack->pushViewController(b, false);
  tabs->setViewControllers({stack});
  show(tabs);
  a->setTitle("First");
  b->navigationItem()->setTitle("Second");
  stack->tabBarItem()->setTitle("Shop");
  EXPECT_EQ(b->title(), "B");
  EXPECT_EQ(textOf("_UIButtonBarButton"), "First");
  EXPECT_EQ(find(*find(*window, "UINavigationBar"), "UILabel")->accessibilityLabel(), "Second");
  EXPECT_EQ(textOf("UITabBarButton"), "Shop");

  EXPECT_EQ(b->view()->frame(), CGRectMake(0, 91, 390, 844 - 91 - 83));
  window->setFrame(CGRectMake(0, 0, 844, 390));
  window->layoutIfNeeded();
  EXPECT_EQ(b->view()->frame(), CGRectMake(0, 91, 844, 390 - 91 - 83));
  auto modal = make("Modal");
  b->presentViewController(modal, false);
  window->setFrame(CGRectMake(0, 0, 390, 844));
  window->layoutIfNeeded();
  EXPECT_EQ(modal->view()->frame(), window->bounds());
  b->dismissViewController(false);
  EXPECT_EQ(b->view()->frame(), CGRectMake(0, 91, 390, 844 - 91 - 83));
}

}  // namespace
}  // namespace platform
