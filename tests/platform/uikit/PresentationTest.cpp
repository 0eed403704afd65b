// What is presented over other screens.

#include <stdexcept>
#include <vector>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "platform/uikit/UIAlertController.h"
#include "tests/platform/uikit/ViewControllerFixture.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using PresentationTest = ViewControllerFixture;

TEST_F(PresentationTest, PresentedFullScreenHidesThePresenter) {
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

TEST_F(PresentationTest, APlainPresentationIsASheetFromSystemThirteenOn) {
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

TEST_F(PresentationTest, WhatIsPresentedGoesWithARootThatIsReplacedOutOfSight) {
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

TEST_F(PresentationTest, AStackOfPresentationsGoesAtOnce) {
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

TEST_F(PresentationTest, WhatCannotBePresentedIsRefused) {
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

TEST_F(PresentationTest, PresentationFromWithinTheCalls) {
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

TEST_F(PresentationTest, AnAlertIsGoneWhenItsHandlerRuns) {
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

}  // namespace
}  // namespace platform
