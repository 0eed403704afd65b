#include "platform/uikit/UIViewController.h"

#include <utility>

#include "platform/runtime/ScopedFlag.h"
#include "platform/uikit/UIScreen.h"

namespace platform {

constinit Method<void(UIViewController&, bool)> UIViewController::viewDidAppearMethod{
    UIViewController::classObject, "viewDidAppear:", [](UIViewController&, SEL, bool) {}};

void UIViewController::describe(ClassBuilder<UIViewController>& c) {
  c.method(viewDidAppearMethod).method(presentViewControllerMethod).method(dismissViewControllerMethod);
}

UIViewController::UIViewController() = default;

UIViewController::~UIViewController() {
  for (const auto& child : children_) child->parent_ = nullptr;
  if (presented_) {
    presented_->presenting_ = nullptr;
    if (presented_->view_) presented_->view_->removeFromSuperview();
  }
  if (view_ && view_->viewController() == this) view_->setViewController({}, nullptr);
}

std::shared_ptr<UIView> UIViewController::view() {
  if (auto loaded = viewIfLoaded()) return loaded;
  const auto keepAlive = weak_from_this().lock();
  if (!isLoadingView_) {
    const ScopedFlag loading(isLoadingView_);
    loadView();
  }
  // Also when loadView asks for the view that it is to make.
  if (!view_) UIViewController::loadView();
  if (!isLoadingView_) viewDidLoad();
  return view_;
}

void UIViewController::setView(std::shared_ptr<UIView> view) {
  if (view_ == view) return;
  if (view_ && view_->viewController() == this) view_->setViewController({}, nullptr);
  view_ = std::move(view);
  if (view_) view_->setViewController({}, this);
}

void UIViewController::loadView() { setView(std::make_shared<UIView>(UIScreen::mainScreen().bounds())); }

void UIViewController::viewDidAppear(bool animated) { viewDidAppearMethod.invoke(*this, animated); }

void UIViewController::setTitle(std::optional<String> title) {
  title_ = std::move(title);
  if (navigationItem_) navigationItem_->setTitle(title_);
  if (tabBarItem_) tabBarItem_->setTitle(title_);
}

std::shared_ptr<UINavigationItem> UIViewController::navigationItem() {
  if (!navigationItem_) {
    navigationItem_ = std::make_shared<UINavigationItem>();
    navigationItem_->setTitle(title());
  }
  return navigationItem_;
}

std::shared_ptr<UITabBarItem> UIViewController::tabBarItem() {
  if (!tabBarItem_) {
    tabBarItem_ = std::make_shared<UITabBarItem>();
    tabBarItem_->setTitle(title());
  }
  return tabBarItem_;
}

UIResponder* UIViewController::nextResponder() const {
  const auto view = viewIfLoaded();
  if (UIView* superview = view ? view->superview() : nullptr) return superview;
  return presentingViewController();
}

}  // namespace platform
