#include "examples/storefront/ShopApp.h"

#include "examples/storefront/AccountController.h"
#include "examples/storefront/BasketController.h"
#include "examples/storefront/CatalogController.h"
#include "examples/storefront/Style.h"

using namespace platform;

namespace {

constexpr double kGapBetweenScenes = 2;

// A stack of screens that goes by the name of its first one.
std::shared_ptr<UIViewController> stackOf(const std::shared_ptr<UIViewController>& root) {
  const auto stack = UINavigationController::create(root);
  stack->setTitle(root->title());
  return stack;
}

}  // namespace

CGRect ShopApp::frameOfScene(int index, int count) {
  const CGSize screen = UIScreen::mainScreen().bounds().size;
  const double width = (screen.width - (count - 1) * kGapBetweenScenes) / count;
  return CGRectMake(index * (width + kGapBetweenScenes), 0, width, screen.height);
}

std::shared_ptr<UIWindowScene> ShopApp::openScene(CGRect frame) {
  const auto tabs = std::make_shared<UITabBarController>();
  tabs->setViewControllers({stackOf(std::make_shared<CatalogController>(basket_)),
                            stackOf(std::make_shared<BasketController>(basket_)),
                            stackOf(std::make_shared<AccountController>())});

  const auto scene = std::make_shared<UIWindowScene>(frame);
  UIApplication::sharedApplication()->connectScene(scene);
  scene->activate();
  const auto window = UIWindow::create(scene);
  window->setBackgroundColor(style::kPaper);
  window->setRootViewController(tabs);
  window->makeKeyAndVisible();
  windows_.push_back(window);
  return scene;
}
