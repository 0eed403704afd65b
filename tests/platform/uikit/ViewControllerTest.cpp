#include "tests/platform/uikit/ViewControllerFixture.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ViewControllerTest = ViewControllerFixture;

TEST_F(ViewControllerTest, PushAndPop) {
  goes({{"Stack pushes A", "", ""},
        {"window shows Stack", "A* Stack* Stack↗ A↗ A↑ Stack↑", "A Stack"},
        {"Stack pushes B", "B* A↘ B↗ A↓ B↑", "B Stack"}});
  EXPECT_FALSE(screen("A")->view()->superview());
  EXPECT_EQ(textOf("_UIButtonBarButton"), "A");
  const auto stack = screen<UINavigationController>("Stack");
  story.reactions["B↘"] = [&] {
    EXPECT_EQ(stack->topViewController(), screen("A"));
    EXPECT_EQ(screen("B")->navigationController(), stack.get());
  };
  goes({{"tap _UIButtonBarButton", "B↘ A↗ B↓ A↑", "A Stack"}});
  EXPECT_FALSE(screen("B")->parentViewController());
  EXPECT_EQ(textOf("_UIButtonBarButton"), "none");
  goes({{"Stack pops", "", "A Stack"},
        {"Stack pushes B", "A↘ B↗ A↓ B↑", "B Stack"},
        {"Stack pushes C", "C* B↘ C↗ B↓ C↑", "C Stack"},
        {"Stack pushes A", "", "C Stack"},
        {"Stack unwinds", "C↘ A↗ C↓ A↑", "A Stack"}});
  EXPECT_THAT(stack->viewControllers(), ElementsAre(screen("A")));
}

TEST_F(ViewControllerTest, TabsChangeByTaps) {
  const auto tabs = screen<UITabBarController>("Tabs");
  tabs->setViewControllers({screen("Stack"), screen("B")});
  does({"Stack pushes A", "window shows Tabs"});
  goes({{"tap UITabBarButton 1", "B* B↗ Stack↘ A↘ A↓ Stack↓ B↑", "B Tabs"},
        {"Stack pushes C", "C*", "B Tabs"},  // covered: nobody appears
        {"tap UITabBarButton 0", "Stack↗ C↗ B↘ B↓ C↑ Stack↑", "C Stack Tabs"},
        {"tap UITabBarButton 0", "C↘ A↗ C↓ A↑", "A Stack Tabs"}});  // to the root
  tabs->setViewControllers({screen("B"), screen("A")});             // out of its stack
  EXPECT_EQ(screen("A")->parentViewController(), tabs.get());
  EXPECT_EQ(seen(), "B Tabs");
  tabs->setSelectedIndex(2);
  EXPECT_EQ(tabs->selectedIndex(), 0u);
}

TEST_F(ViewControllerTest, AnAppsOwnContainerAndUnbalancedCalls) {
  const auto outer = screen("Outer"), inner = screen("Inner");
  does({"window shows Outer"});
  outer->addChildViewController(inner);
  inner->beginAppearanceTransition(true, false);
  inner->beginAppearanceTransition(true, false);
  outer->view()->addSubview(inner->view());
  inner->endAppearanceTransition();
  inner->endAppearanceTransition();
  inner->beginAppearanceTransition(true, false);
  inner->endAppearanceTransition();
  EXPECT_EQ(told(), "Inner* Inner↗ Inner↑");
  goes({{"window hides", "Outer↘ Inner↘ Inner↓ Outer↓", ""}});
  inner->beginAppearanceTransition(true, false);
  EXPECT_EQ(told(), "") << "its container is not on screen";
  does({"window returns"});
  inner->beginAppearanceTransition(false, false);
  inner->beginAppearanceTransition(true, false);  // turned back half way
  inner->endAppearanceTransition();
  EXPECT_EQ(told(), "Inner↘ Inner↓ Inner↗ Inner↑");
  inner->removeFromParentViewController();
  EXPECT_EQ(told(), "Inner↘ Inner↓");
  EXPECT_THAT(outer->childViewControllers(), IsEmpty());
}

TEST_F(ViewControllerTest, NavigationFromWithinTheCalls) {
  does("Stack pushes A");
  story.reactions["A↗"] = [&] { does("Stack pushes B"); };
  story.reactions["C↑"] = [&] { does("Stack pops"); };
  goes({{"window shows Stack", "A* Stack* Stack↗ A↗ B* A↘ B↗ A↓ B↑ Stack↑", "B Stack"},
        {"Stack pushes C", "C* B↘ C↗ B↓ C↑ C↘ B↗ C↓ B↑", "B Stack"}});
}

TEST_F(ViewControllerTest, DeathsLeaveNothingDangling) {
  does({"Stack pushes A", "window shows Stack"});
  auto b = std::make_shared<Screen>(story, "B");
  const std::weak_ptr<UIViewController> dying = b;
  const auto c = screen("C");
  story.reactions["B↑"] = [&] {
    b = nullptr;
    does("Stack pops");
  };
  screen<UINavigationController>("Stack")->pushViewController(b, false);
  EXPECT_TRUE(dying.expired());
  const auto orphanedView = screen("A")->view();
  does({"A presents C", "A dies", "window takes", "Stack dies"});
  EXPECT_FALSE(orphanedView->viewController());
  EXPECT_FALSE(c->presentingViewController());
  EXPECT_THAT(window->subviews(), IsEmpty());

  screen("Parent")->addChildViewController(c);
  does("Parent dies");
  EXPECT_FALSE(c->parentViewController());

  const std::weak_ptr<UIViewController> root = screen("Root");
  does({"window shows Root"});
  story.reactions["Root↓"] = [&] { does("Root dies"); };
  story.reactions["Root↘"] = [&] { does("window takes"); };
  does("window hides");
  EXPECT_TRUE(root.expired()) << "in its own calls";
}

TEST_F(ViewControllerTest, TheResponderChain) {
  does({"Stack pushes A", "window shows Stack"});
  const auto stack = screen("Stack"), a = screen("A"), b = screen("B");
  std::vector<UIResponder*> chain;
  for (UIResponder* next = a->view().get(); next != window.get(); next = next->nextResponder()) {
    chain.push_back(next);
  }
  EXPECT_THAT(chain, ElementsAre(a->view().get(), a.get(), stack->view().get(), stack.get()));
  does("A presents B");
  EXPECT_EQ(b->nextResponder(), window.get());
  b->view()->removeFromSuperview();
  EXPECT_EQ(b->nextResponder(), stack.get());
}

TEST_F(ViewControllerTest, BarsFollowTitlesAndContentsFollowTheWindow) {
  screen<UITabBarController>("Tabs")->setViewControllers({screen("Stack")});
  does({"Stack pushes A", "Stack pushes B", "window shows Tabs"});
  const auto b = screen("B");
  screen("A")->setTitle("First");
  b->navigationItem()->setTitle("Second");
  screen("Stack")->tabBarItem()->setTitle("Shop");
  EXPECT_EQ(b->title(), "B");
  EXPECT_EQ(textOf("_UIButtonBarButton"), "First");
  EXPECT_EQ(find(*find(*window, "UINavigationBar"), "UILabel")->accessibilityLabel(), "Second");
  EXPECT_EQ(textOf("UITabBarButton"), "Shop");

  const auto resized = [&](double width, double height) {
    window->setFrame(CGRectMake(0, 0, width, height));
    window->layoutIfNeeded();
    return b->view()->frame();
  };
  EXPECT_EQ(b->view()->frame(), CGRectMake(0, 91, 390, 844 - 91 - 83));
  EXPECT_EQ(resized(844, 390), CGRectMake(0, 91, 844, 390 - 91 - 83));
  does("B presents Modal");
  resized(390, 844);
  EXPECT_EQ(screen("Modal")->view()->frame(), window->bounds());
  does("B dismisses");
  EXPECT_EQ(b->view()->frame(), CGRectMake(0, 91, 390, 844 - 91 - 83));
}

}  // namespace
}  // namespace platform
