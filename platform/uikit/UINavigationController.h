#pragma once

#include "platform/uikit/UIViewController.h"

namespace platform {

class UILayoutContainerView;
class UINavigationBar;

// A stack of screens that shows the last one, below a bar with its title and a button back.
//
// The screen that leaves is told before the one that comes: will disappear, will appear, did disappear, did
// appear. A push or pop within one of these calls decides what is shown.
class PLATFORM_EXPORT UINavigationController : public UIViewController {
  NS_OBJECT(UINavigationController, UIViewController)

 public:
  // `create` pushes the root.
  static std::shared_ptr<UINavigationController> create(std::shared_ptr<UIViewController> root);
  UINavigationController();
  ~UINavigationController() override;

  static void describe(ClassBuilder<UINavigationController>& c);

  // First to last; the last is on screen.
  virtual Children viewControllers() const { return childViewControllers(); }
  std::shared_ptr<UIViewController> topViewController() const;
  // One that is there already is refused with a warning.
  void pushViewController(std::shared_ptr<UIViewController> controller, bool animated);
  // The controller that left; null when only the root is there.
  std::shared_ptr<UIViewController> popViewController(bool animated);
  void popToRootViewController(bool animated);

  Children appearingChildren() const override;
  void loadView() override;

 private:
  void leave(std::size_t first, bool animated);
  void replaceTop(const std::shared_ptr<UIViewController>& outgoing, bool animated);
  void showTop();
  void back();

  std::shared_ptr<UILayoutContainerView> container_;
  std::shared_ptr<UINavigationBar> bar_;
};

}  // namespace platform
