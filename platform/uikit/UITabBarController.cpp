#include "platform/uikit/UITabBarController.h"

#include <utility>

#include "platform/uikit/UIControl.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBar.h"
#include "platform/uikit/internal/UILayoutContainerView.h"

namespace platform {

void UITabBarController::describe(ClassBuilder<UITabBarController>& c) {
  c.action("_tabBarItemClicked:", &UITabBarController::tabBarItemClicked);
}

UITabBarController::UITabBarController() = default;

UITabBarController::~UITabBarController() = default;

std::shared_ptr<UIViewController> UITabBarController::selectedViewController() const {
  const Children controllers = viewControllers();
  return selectedIndex_ < controllers.size() ? controllers[selectedIndex_] : nullptr;
}

UIViewController::Children UITabBarController::appearingChildren() const {
  const auto selected = selectedViewController();
  return selected ? Children{selected} : Children{};
}

void UITabBarController::loadView() {
  bar_ = std::make_shared<UITabBar>(weak_from_this());
  container_ = std::make_shared<UILayoutContainerView>(bar_, UILayoutContainerView::BarPlace::Bottom);
  setView(container_);
  showItems();
  showSelected();
}

void UITabBarController::setViewControllers(Children controllers) {
  const auto outgoing = selectedViewController();
  const Withdrawal leaving(*this, 0);
  for (auto& controller : controllers) {
    if (controller) addChildViewController(std::move(controller));
  }
  selectedIndex_ = 0;
  showItems();
  replaceSelected(outgoing);
}

void UITabBarController::setSelectedIndex(std::size_t index) {
  if (index == selectedIndex_ || index >= viewControllers().size()) return;
  const auto keepAlive = weak_from_this().lock();
  const auto outgoing = selectedViewController();
  selectedIndex_ = index;
  replaceSelected(outgoing);
}

void UITabBarController::tabBarItemClicked(UIControl* button) {
  const auto index = bar_ ? bar_->indexOfButton(button) : std::nullopt;
  if (!index) return;
  if (*index != selectedIndex_) return setSelectedIndex(*index);
  const auto selected = selectedViewController();
  if (auto* const stack = dynamic_cast<UINavigationController*>(selected.get())) {
    stack->popToRootViewController(true);
  }
}

void UITabBarController::replaceSelected(const std::shared_ptr<UIViewController>& outgoing) {
  const auto incoming = selectedViewController();
  if (incoming == outgoing) return showSelected();
  // Whatever is told may select another one.
  if (incoming) incoming->beginAppearanceTransition(true, false);
  if (outgoing && outgoing != selectedViewController()) outgoing->beginAppearanceTransition(false, false);
  showSelected();
  if (outgoing) outgoing->endAppearanceTransition();
  if (incoming) incoming->endAppearanceTransition();
}

void UITabBarController::showItems() {
  if (!bar_) return;
  std::vector<std::shared_ptr<UITabBarItem>> items;
  for (const auto& controller : viewControllers()) items.push_back(controller->tabBarItem());
  bar_->setItems(std::move(items));
}

void UITabBarController::showSelected() {
  if (!container_) return;
  const auto selected = selectedViewController();
  bar_->setSelectedIndex(selectedIndex_);
  container_->setContent(selected ? selected->view() : nullptr);
}

}  // namespace platform
