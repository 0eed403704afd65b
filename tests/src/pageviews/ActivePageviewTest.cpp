// Which pageview a view, a controller or a window belongs to.

#include "src/pageviews/UIResponder+ActivePageview.h"

#include <gmock/gmock.h>

#include "platform/uikit/UINavigationController.h"
#include "src/core/KovaUtil.h"
#include "src/pageviews/UIView+Visibility.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/pageviews/UIWindowScene+KOVA.h"
#include "tests/src/pageviews/Screens.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kSession = "1111111111111111";
constexpr const char* kEarlierSession = "2222222222222222";

void attach(const std::shared_ptr<UIViewController>& controller, std::string_view title,
            const char* session = kSession) {
  KOVA_setScopedPageviewInfo(controller, {{"title", title}}, session);
}

// The title of the pageview that the responder belongs to; empty for none.
std::string pageviewOf(UIResponder& responder) {
  const auto info = KOVA_scopedPageviewInfoWithCurrentSessionId(responder, kSession);
  return info ? info->find("title")->string().str() : "";
}

class ActivePageviewTest : public testing::Test {
 protected:
  SimulatedDevice device;
};

TEST_F(ActivePageviewTest, AHierarchyKeepsThePageviewOfItsLatestScreen) {
  const auto first = screen("First");
  const auto second = screen("Second");
  const auto navigation = UINavigationController::create(first);
  const auto window = device.show(navigation);
  navigation->pushViewController(second, false);
  attach(first, "First");
  attach(second, "Second");

  auto deepest = second->view();
  for (int depth = 0; depth < 30; ++depth) {
    const auto inside = std::make_shared<UIView>();
    deepest->addSubview(inside);
    deepest = inside;
  }
  for (UIResponder* responder : std::initializer_list<UIResponder*>{
           first.get(), second.get(), navigation.get(), deepest.get(), window.get()}) {
    EXPECT_EQ(pageviewOf(*responder), "Second");
    EXPECT_EQ(KOVA_sourceViewControllerForPageviewWithCurrentSessionId(*responder, kSession), second);
  }
  EXPECT_EQ(KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(*first, kSession),
            nullptr);
  EXPECT_EQ(
      KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(*first, kEarlierSession),
      second);

  attach(navigation, "Other", kEarlierSession);
  const auto neighbour = screen();
  const auto otherWindow = device.show(neighbour);
  attach(neighbour, "Neighbour");
  EXPECT_EQ(pageviewOf(*deepest), "") << "that of an earlier session hides those of other windows";
}

TEST_F(ActivePageviewTest, AScreenWithoutOneBelongsToWhatIsBelowOrBesideIt) {
  const auto alone = screen();
  EXPECT_EQ(pageviewOf(*alone), "");
  const auto touched = device.show(alone);
  EXPECT_EQ(pageviewOf(*touched), "");

  std::vector<std::shared_ptr<UIWindow>> others;
  for (const char* title : {"Near", "Far", "Hidden"}) {
    const auto controller = screen();
    attach(controller, title);
    others.push_back(device.show(controller));
  }
  others[2]->setHidden(true);
  EXPECT_EQ(pageviewOf(*alone), "Far") << "the last one that is visible";
  EXPECT_EQ(pageviewOf(*touched), "Far");
  const auto emptyWindow = device.show(nullptr);
  EXPECT_EQ(pageviewOf(*emptyWindow), "Far");

  const auto above = screen();
  attach(above, "Above");
  above->setModalPresentationStyle(UIViewController::ModalPresentationStyle::OverCurrentContext);
  alone->presentViewController(above, false);
  EXPECT_EQ(pageviewOf(*alone), "Far") << "not what its own window shows above it";

  const auto presented = std::make_shared<UIInputWindowController>();
  others[0]->rootViewController()->presentViewController(presented, false);
  EXPECT_EQ(pageviewOf(*presented->view()), "Near");
}

TEST_F(ActivePageviewTest, ABrokenHostIsSurvived) {
  struct Link : UIResponder {
    UIResponder* nextResponder() const override { return next; }
    UIResponder* next = nullptr;
  };
  const auto one = std::make_shared<Link>();
  const auto two = std::make_shared<Link>();
  one->next = two.get();
  two->next = one.get();
  EXPECT_EQ(pageviewOf(*one), "");

  struct Loop : UIViewController {
    UIViewController* parentViewController() const override {
      return loops ? const_cast<Loop*>(this) : nullptr;
    }
    std::shared_ptr<UIViewController> presentedViewController() const override {
      if (fails) throw std::runtime_error("host");
      return loops ? std::static_pointer_cast<UIViewController>(const_cast<Loop*>(this)->shared_from_this())
                   : nullptr;
    }
    bool loops = false;
    bool fails = false;
  };
  const auto loop = std::make_shared<Loop>();
  const auto window = device.show(loop);
  loop->loops = true;
  attach(loop, "Nowhere");
  EXPECT_EQ(KOVA_scopedAttachedPageviewData(*loop), nullptr);
  EXPECT_EQ(KOVA_deepestViewController(*window), loop);
  EXPECT_EQ(pageviewOf(*loop), "");

  loop->loops = false;
  attach(loop, "Found");
  loop->fails = true;
  EXPECT_THROW(pageviewOf(*window), std::runtime_error);
  loop->fails = false;
  EXPECT_EQ(pageviewOf(*window), "Found") << "a search that failed is over";
}

TEST_F(ActivePageviewTest, WindowsAreFoundByScene) {
  const auto root = screen();
  const auto window = device.show(root);
  const auto second = device.show(screen());
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), second);
  window->makeKeyWindow();
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), window);
  EXPECT_THAT(KOVA_allWindowsInScene(*window), ElementsAre(window, second));
  second->setHidden(true);
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window));

  const auto other = std::make_shared<UIWindowScene>();
  device.application->connectScene(other);
  other->enterBackground();
  const auto elsewhere = UIWindow::create(other);
  elsewhere->setHidden(false);
  EXPECT_THAT(KOVA_allWindowsInScene(*elsewhere), ElementsAre(elsewhere));
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window))
      << "the other scene is in the background";
  EXPECT_FALSE(KOVA_isForegroundAndVisible(*elsewhere));
  other->enterForeground();
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window, elsewhere));
  EXPECT_TRUE(KOVA_isForegroundAndVisible(*elsewhere));
  EXPECT_EQ(KOVA_firstKeyWindow(*other), nullptr);

  device.scene->deactivate();
  EXPECT_EQ(KOVA_activeWindowScene(), nullptr);
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), window) << "the application's";

  EXPECT_TRUE(KOVA_isForegroundAndVisible(*root));
  EXPECT_FALSE(KOVA_isForegroundAndVisible(*screen())) << "not loaded";
  EXPECT_FALSE(KOVA_isForegroundAndVisible(UIView())) << "in no window";
  device.application->enterBackground();
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), IsEmpty());
  EXPECT_FALSE(KOVA_isForegroundAndVisible(*root));
}

TEST_F(ActivePageviewTest, WindowsOfTheApplicationServeWhereThereAreNoScenes) {
  for (const char* version : {"10.0", "12.5.7"}) {
    device.setSystemVersion(version);
    const auto window = device.show(screen());
    const auto hidden = UIWindow::create();
    EXPECT_EQ(device.scene, nullptr);
    EXPECT_EQ(KOVA_firstActiveKeyWindow(), window);
    EXPECT_THAT(KOVA_allWindowsInScene(*window), ElementsAre(hidden, window)) << "back to front";
    EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window));
    EXPECT_TRUE(KOVA_isForegroundAndVisible(*window->rootViewController()));
  }
  UIApplication::setSharedApplication(nullptr);
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), nullptr);
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), IsEmpty());
}

}  // namespace
