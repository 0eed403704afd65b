// Which pageview a view, a controller or a window belongs to.

#include "src/pageviews/UIResponder+ActivePageview.h"

#include <random>

#include "src/pageviews/UIView+Visibility.h"
#include "src/pageviews/UIWindow+KOVA.h"
#include "src/pageviews/UIWindowScene+KOVA.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

constexpr const char* kSession = "1111111111111111";

// Titles of pageviews of an earlier session begin with "old".
bool isOld(const std::string& title) { return title.starts_with("old"); }

void attach(const std::shared_ptr<UIViewController>& controller, const std::string& title) {
  KOVA_setScopedPageviewInfo(controller, {{"title", title}}, isOld(title) ? "2222222222222222" : kSession);
}

// The title of the pageview that the responder belongs to; empty for none.
std::string pageviewOf(UIResponder& responder) {
  const auto info = KOVA_scopedPageviewInfoWithCurrentSessionId(responder, kSession);
  const auto source = KOVA_sourceViewControllerForPageviewWithCurrentSessionId(responder, kSession);
  EXPECT_EQ(info.has_value(), source != nullptr);
  return info ? info->find("title")->string().str() : "";
}

// A window, its screens from the root to the one presented last, and what each keeps: its own pageview, else
// that of the screen below.
struct Shown {
  std::shared_ptr<UIWindow> window;
  std::vector<std::shared_ptr<UIViewController>> screens;
  std::vector<std::string> kept{""};  // one more, for none

  std::string pageview() const { return isOld(kept.back()) ? "" : kept.back(); }
  void add(const std::shared_ptr<UIViewController>& screen, bool isContained, const std::string& title) {
    const std::shared_ptr<UIViewController> outer =
        isContained ? std::shared_ptr<UIViewController>(UINavigationController::create(screen)) : screen;
    outer->setModalPresentationStyle(UIViewController::ModalPresentationStyle::OverCurrentContext);
    if (screens.empty()) window->setRootViewController(outer);
    if (!screens.empty()) screens.back()->presentViewController(outer, false);
    if (!title.empty()) attach(screen, title);
    screens.push_back(screen);
    kept.push_back(title.empty() ? kept.back() : title);
  }
};

// The last window that is visible and has a pageview, other than the window itself.
std::string beside(const Shown& window, const std::vector<Shown>& all) {
  for (auto other = all.rbegin(); other != all.rend(); ++other) {
    if (&*other != &window && !other->window->isHidden() && !other->pageview().empty())
      return other->pageview();
  }
  return "";
}

class ActivePageviewTest : public testing::Test {
 protected:
  SimulatedDevice device;
};

TEST_F(ActivePageviewTest, IsThatOfTheHierarchyOrOfAnotherWindow) {
  std::mt19937 dice(1);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    std::vector<Shown> all(1 + dice() % 3);
    for (Shown& shown : all) {
      shown.window = device.show(nullptr);
      for (unsigned screens = dice() % 4; screens > 0; --screens) {
        const std::string title = (dice() % 3 ? "new" : "old") + std::to_string(dice());
        shown.add(screen(title), dice() % 2, dice() % 2 ? title : "");
      }
    }
    for (const Shown& shown : all) shown.window->setHidden(dice() % 4 == 0);
    for (const Shown& shown : all) {
      const std::string others = beside(shown, all);
      EXPECT_EQ(pageviewOf(*shown.window), shown.pageview().empty() ? others : shown.pageview());
      for (std::size_t i = 0; i < shown.screens.size(); ++i) {
        const std::string& kept = shown.kept[i + 1];
        auto deepest = shown.screens[i]->view();
        for (int depth = 0; depth < 30; ++depth) {
          deepest->addSubview(std::make_shared<UIView>());
          deepest = deepest->subviews().back();
        }
        for (UIResponder* responder :
             std::initializer_list<UIResponder*>{shown.screens[i].get(), deepest.get()}) {
          EXPECT_EQ(pageviewOf(*responder), kept.empty() ? others : isOld(kept) ? "" : kept);
        }
        const auto old = KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(
            *shown.screens[i], kSession);
        EXPECT_EQ(old ? old->title()->str() : "", isOld(kept) ? kept : "");
      }
    }
  }
}

TEST_F(ActivePageviewTest, ABrokenHostIsSurvived) {
  EXPECT_EQ(pageviewOf(*std::make_shared<CircularView>()), "");
  struct Loop : UIViewController {
    UIViewController* parentViewController() const override {
      return loops ? const_cast<Loop*>(this) : nullptr;
    }
    std::shared_ptr<UIViewController> presentedViewController() const override {
      if (fails) throw std::runtime_error("host");
      return loops ? std::static_pointer_cast<UIViewController>(const_cast<Loop*>(this)->shared_from_this())
                   : nullptr;
    }
    bool loops = false, fails = false;
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
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window));
  EXPECT_FALSE(KOVA_isForegroundAndVisible(*elsewhere)) << "its scene is in the background";
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
  device.setSystemVersion("12.5.7");
  const auto window = device.show(screen());
  const auto hidden = UIWindow::create();
  EXPECT_EQ(device.scene, nullptr);
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), window);
  EXPECT_THAT(KOVA_allWindowsInScene(*window), ElementsAre(hidden, window)) << "back to front";
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), ElementsAre(window));
  EXPECT_TRUE(KOVA_isForegroundAndVisible(*window->rootViewController()));
  UIApplication::setSharedApplication(nullptr);
  EXPECT_EQ(KOVA_firstActiveKeyWindow(), nullptr);
  EXPECT_THAT(KOVA_allForegroundedAndVisibleWindows(), IsEmpty());
}

}  // namespace
