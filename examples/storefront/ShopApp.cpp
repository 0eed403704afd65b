#include "examples/storefront/ShopApp.h"

#include "examples/storefront/AccountController.h"
#include "examples/storefront/BasketController.h"
#include "examples/storefront/CatalogController.h"
#include "examples/storefront/Style.h"
#include "examples/support/Icons.h"
#include "platform/uikit/UIAppearance.h"

using namespace platform;

namespace {

constexpr double kGapBetweenScenes = 2;

std::shared_ptr<UIViewController> tab(const std::shared_ptr<UIViewController>& root, Icon sign) {
  const auto stack = style::stackOf(root);
  setTabBarItemImages(*stack->tabBarItem(), icon(sign, style::colours().muted),
                      icon(sign, style::colours().accent));
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
  tabs->setViewControllers({tab(std::make_shared<CatalogController>(basket_), Icon::Shop),
                            tab(std::make_shared<BasketController>(basket_), Icon::Basket),
                            tab(std::make_shared<AccountController>(), Icon::Person)});

  const auto scene = std::make_shared<UIWindowScene>(frame);
  UIApplication::sharedApplication()->connectScene(scene);
  scene->activate();
  const auto window = UIWindow::create(scene);
  window->setBackgroundColor(style::colours().paper);
  window->setRootViewController(tabs);
  window->makeKeyAndVisible();
  windows_.push_back(window);
  return scene;
}
