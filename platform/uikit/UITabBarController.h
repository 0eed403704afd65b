#pragma once

#include "platform/uikit/UIViewController.h"

namespace platform {

class UIControl;
class UILayoutContainerView;
class UITabBar;

// Several screens, one of which is shown, above a bar with a button for each. The button is of class
// "UITabBarButton" and sends "_tabBarItemClicked:" to the controller.
//
// The screen that comes is told first that it will appear. Then the other is told that it will disappear and
// did disappear, and at last the first that it did appear. A tap on the tab that is selected already pops its
// navigation stack to the root.
class PLATFORM_EXPORT UITabBarController : public UIViewController {
  NS_OBJECT(UITabBarController, UIViewController)

 public:
  UITabBarController();
  ~UITabBarController() override;

  static void describe(ClassBuilder<UITabBarController>& c);

  virtual Children viewControllers() const { return childViewControllers(); }
  // Selects the first.
  void setViewControllers(Children controllers);
  virtual std::shared_ptr<UIViewController> selectedViewController() const;
  std::size_t selectedIndex() const { return selectedIndex_; }
  // An index beyond the last is ignored.
  void setSelectedIndex(std::size_t index);

  Children appearingChildren() const override;
  void loadView() override;

 private:
  void tabBarItemClicked(UIControl* button);
  void replaceSelected(const std::shared_ptr<UIViewController>& outgoing);
  void showItems();
  void showSelected();

  std::size_t selectedIndex_ = 0;
  std::shared_ptr<UILayoutContainerView> container_;
  std::shared_ptr<UITabBar> bar_;
};

}  // namespace platform
