// What is presented over other screens.

#include <stdexcept>
#include <tuple>
#include <vector>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "tests/platform/uikit/ViewControllerFixture.h"

namespace platform {
namespace {

using testing::HasSubstr;
using PresentationTest = ViewControllerFixture;

TEST_F(PresentationTest, PresentedFullScreenHidesThePresenter) {
  does({"Stack pushes A", "window shows Stack"});
  goes({{"A presents B", "Stack↘ A↘ B* B↗ B↑ A↓ Stack↓ presented", "B"}});
  EXPECT_EQ(screen("B")->presentingViewController(), screen("Stack").get());
  EXPECT_EQ(screen("A")->presentedViewController(), screen("B"));
  EXPECT_FALSE(screen("A")->view()->window());
  goes({{"window hides", "B↘ B↓", ""}, {"window returns", "B↗ B↑", "B"}});
  EXPECT_EQ(window->subviews().back(), screen("B")->view());

  does("window takes Other");
  EXPECT_TRUE(holds({"Other"})) << "what was presented goes with its presenter";
  does({"window takes Stack"});
  EXPECT_TRUE(holds({"B"}));
  does({"B presents C"});
  goes({{"B dismisses", "C↘ B↗ B↑ C↓ dismissed", "B"},
        {"B dismisses", "B↘ Stack↗ A↗ A↑ Stack↑ B↓ dismissed", "A Stack"}});
  EXPECT_TRUE(holds({"Stack"}));
}

TEST_F(PresentationTest, APlainPresentationIsASheetFromSystemThirteenOn) {
  for (const auto& [system, style, expected] : {std::tuple("13.0", Style::Automatic, "Over Root"),
                                                {"12.4", Style::Automatic, "Over"},
                                                {"12.4", Style::PageSheet, "Over Root"}}) {
    SCOPED_TRACE(system);
    NSProcessInfo::processInfo().setOperatingSystemVersionString(system);
    screen("Over")->setModalPresentationStyle(style);
    does({"window shows Root", "Root presents Over"});
    EXPECT_EQ(seen(), expected);
    EXPECT_EQ(window->hitTest({5, 5}, nullptr), screen("Over")->view().get());
    does({"Root dismisses"});
    EXPECT_EQ(seen(), "Root");
    EXPECT_TRUE(holds({"Root"}));
    does({"Root dies", "Over dies"});
  }
}

TEST_F(PresentationTest, AStackOfPresentationsGoesAtOnce) {
  screen("B")->setModalPresentationStyle(Style::OverCurrentContext);
  does({"window shows Root"});
  goes({{"Root presents A", "Root↘ A* A↗ A↑ Root↓ presented", "A"},
        {"A presents B", "B* B↗ B↑ presented", "A B"},  // it covers nothing
        {"B presents C", "B↘ C* C↗ C↑ B↓ presented", "A C"},
        {"Root dismisses", "C↘ A↘ Root↗ Root↑ C↓ A↓ dismissed", "Root"}});
  EXPECT_TRUE(holds({"Root"}));
}

TEST_F(PresentationTest, WhatCannotBePresentedIsRefused) {
  std::vector<std::string> warnings;
  SystemLog::setSink([&](std::string_view line) { warnings.emplace_back(line); });
  does({"Root presents A", "window shows Root", "Root presents", "Root presents A", "Root presents B",
        "A presents Root", "A presents A"});
  SystemLog::setSink(nullptr);
  EXPECT_EQ(screen("Root")->presentedViewController(), screen("A"));
  EXPECT_FALSE(screen("A")->presentedViewController());
  EXPECT_THAT(warnings, testing::ElementsAre(HasSubstr("window hierarchy"), HasSubstr("nil"),
                                             HasSubstr("already presenting"), HasSubstr("active already"),
                                             HasSubstr("active already")));
  EXPECT_THROW(screen("A")->addChildViewController(screen("Root")), std::invalid_argument);
}

TEST_F(PresentationTest, PresentationFromWithinTheCalls) {
  const auto when = [&](const char* moment, const char* deed) {
    story.reactions[moment] = [=, this] { does(deed); };
  };
  when("Root↑", "Root presents A");
  does({"window shows Root"});
  EXPECT_EQ(seen(), "A");
  when("A↘", "A dismisses");
  when("Root↑", "Root presents A");
  goes({{"Root dismisses", "A↘ dismissed Root↗ Root↑ A↓ Root↘ A↗ A↑ Root↓ presented dismissed", "A"}});
  does({"A presents B"});
  when("B↘", "Root dismisses");
  does("A dismisses");
  EXPECT_EQ(seen(), "Root");
  EXPECT_TRUE(holds({"Root"}));

  for (const char* moment : {"Root↘", "B↗", "B↑"}) {
    when(moment, "Root dismisses");
    does("Root presents B");
    EXPECT_EQ(seen(), "Root") << moment;
    EXPECT_FALSE(screen("Root")->presentedViewController()) << moment;
  }

  does("Root presents B");
  when("Root↑", "Root presents A");
  when("A↑", "A dismisses");
  does("Root dismisses");
  EXPECT_EQ(seen(), "Root");
  EXPECT_FALSE(screen("Root")->presentedViewController());
}

TEST_F(PresentationTest, AnAlertIsGoneWhenItsHandlerRuns) {
  does({"window shows Root"});
  const auto root = screen("Root");
  auto alert = std::make_shared<UIAlertController>("Delete?", "There is no way back.");
  for (const auto& [title, style] : {std::pair("Delete", UIAlertAction::Style::Destructive),
                                     std::pair("Cancel", UIAlertAction::Style::Cancel)}) {
    alert->addAction(std::make_shared<UIAlertAction>(title, style, [&](UIAlertAction& action) {
      EXPECT_FALSE(root->presentedViewController());
      EXPECT_FALSE(alert->view()->window());
      story.tell(action.title().str());
    }));
  }
  root->presentViewController(alert, true);
  EXPECT_EQ(told(), "") << "what is below stays";
  EXPECT_EQ(textOf("_UIAlertControllerActionView"), "Cancel");
  const auto button = find(*window, "_UIAlertControllerActionView", 1);
  goes({{"tap _UIAlertControllerActionView 1", "Delete", "Root"}});
  std::static_pointer_cast<UIControl>(button)->sendActionsForControlEvents(UIControlEvents::TouchUpInside);
  EXPECT_EQ(told(), "");
}

}  // namespace
}  // namespace platform
