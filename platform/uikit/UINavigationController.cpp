#include "platform/uikit/UINavigationController.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/SystemLog.h"
#include "platform/uikit/UINavigationBar.h"
#include "platform/uikit/internal/UILayoutContainerView.h"

namespace platform {

void UINavigationController::describe(ClassBuilder<UINavigationController>& c) {
  c.action("_back:", &UINavigationController::back);
}

std::shared_ptr<UINavigationController> UINavigationController::create(
    std::shared_ptr<UIViewController> root) {
  auto controller = std::make_shared<UINavigationController>();
  controller->pushViewController(std::move(root), false);
  return controller;
}

UINavigationController::UINavigationController() = default;

UINavigationController::~UINavigationController() = default;

std::shared_ptr<UIViewController> UINavigationController::topViewController() const {
  const Children controllers = viewControllers();
  return controllers.empty() ? nullptr : controllers.back();
}

UIViewController::Children UINavigationController::appearingChildren() const {
  const auto top = topViewController();
  return top ? Children{top} : Children{};
}

void UINavigationController::loadView() {
  bar_ = std::make_shared<UINavigationBar>(weak_from_this().lock());
  container_ = std::make_shared<UILayoutContainerView>(bar_, UILayoutContainerView::BarPlace::Top);
  setView(container_);
  showTop();
}

void UINavigationController::pushViewController(std::shared_ptr<UIViewController> controller, bool animated) {
  if (!controller) return;
  const Children present = viewControllers();
  if (std::find(present.begin(), present.end(), controller) != present.end()) {
    NSLog("Warning: Attempt to push " + controller->description() + ", which is on the stack already");
    return;
  }
  const auto keepAlive = weak_from_this().lock();
  const auto outgoing = topViewController();
  addChildViewController(std::move(controller));
  replaceTop(outgoing, animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewController(bool animated) {
  const Children present = viewControllers();
  if (present.size() < 2) return nullptr;
  leave(present.size() - 1, animated);
  return present.back();
}

void UINavigationController::popToRootViewController(bool animated) {
  if (viewControllers().size() > 1) leave(1, animated);
}

void UINavigationController::back() { popViewController(true); }

void UINavigationController::leave(std::size_t first, bool animated) {
  const auto outgoing = topViewController();
  const Withdrawal leaving(*this, first);
  replaceTop(outgoing, animated);
}

void UINavigationController::replaceTop(const std::shared_ptr<UIViewController>& outgoing, bool animated) {
  const auto incoming = topViewController();
  if (incoming && container_) incoming->view();
  if (outgoing) outgoing->beginAppearanceTransition(false, animated);
  // Whatever is told may have navigated on.
  if (incoming && incoming == topViewController()) incoming->beginAppearanceTransition(true, animated);
  showTop();
  if (outgoing) outgoing->endAppearanceTransition();
  if (incoming) incoming->endAppearanceTransition();
}

void UINavigationController::showTop() {
  if (!container_) return;
  const Children present = viewControllers();
  const auto top = present.empty() ? nullptr : present.back();
  const auto below = present.size() > 1 ? present[present.size() - 2] : nullptr;
  bar_->show(top ? top->navigationItem() : nullptr, below ? below->navigationItem() : nullptr);
  container_->setContent(top ? top->view() : nullptr);
}

}  // namespace platform
