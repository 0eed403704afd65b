#include "tests/platform/uikit/ViewControllerFixture.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ViewControllerTest = ViewControllerFixture;

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
