#include <algorithm>
#include <string>
#include <utility>

#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/SystemLog.h"
#include "platform/runtime/ScopedFlag.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

constinit Method<void(UIViewController&, const std::shared_ptr<UIViewController>&, bool,
                      const UIViewController::Completion&)>
    UIViewController::presentViewControllerMethod{
        UIViewController::classObject, "presentViewController:animated:completion:",
        [](UIViewController& self, SEL, const std::shared_ptr<UIViewController>& controller, bool animated,
           const Completion& completion) {
          UIViewController* presenter = &self;
          while (presenter->parent_) presenter = presenter->parent_;
          presenter->present(controller, animated, completion);
        }};

constinit Method<void(UIViewController&, bool, const UIViewController::Completion&)>
    UIViewController::dismissViewControllerMethod{
        UIViewController::classObject, "dismissViewControllerAnimated:completion:",
        [](UIViewController& self, SEL, bool animated, const Completion& completion) {
          self.dismiss(animated, completion);
        }};

void UIViewController::presentViewController(const std::shared_ptr<UIViewController>& controller,
                                             bool animated, const Completion& completion) {
  presentViewControllerMethod.invoke(*this, controller, animated, completion);
}

void UIViewController::dismissViewController(bool animated, const Completion& completion) {
  dismissViewControllerMethod.invoke(*this, animated, completion);
}

std::shared_ptr<UIViewController> UIViewController::presentedViewController() const {
  for (const UIViewController* above = this; above; above = above->parent_) {
    if (above->presented_) return above->presented_;
  }
  return nullptr;
}

UIViewController* UIViewController::presentingViewController() const {
  for (const UIViewController* above = this; above; above = above->parent_) {
    if (above->presenting_) return above->presenting_;
  }
  return nullptr;
}

bool UIViewController::isFullScreen() const {
  if (modalPresentationStyle_ != ModalPresentationStyle::Automatic) {
    return modalPresentationStyle_ == ModalPresentationStyle::FullScreen;
  }
  constexpr int kFirstSystemWithSheets = 13;
  return !NSProcessInfo::processInfo().isOperatingSystemAtLeast(kFirstSystemWithSheets);
}

bool UIViewController::isCovered() const { return presented_ && presented_->isFullScreen(); }

UIViewController::Children UIViewController::presentedChain() const {
  Children chain;
  for (auto next = presented_; next; next = next->presented_) chain.push_back(next);
  return chain;
}

// --- Presenting

const char* UIViewController::refusalToPresent(const UIViewController* controller) const {
  if (!controller) return "which is none";
  if (presented_) return "by one which is already presenting";
  const auto presenterView = viewIfLoaded();
  if (appearance_ != Appearance::Appeared || !presenterView || !presenterView->window()) {
    return "by one whose view is not in the window hierarchy";
  }
  for (const UIViewController* below = this; below; below = below->presenting_) {
    if (below == controller) return "which is active already";
  }
  const auto view = controller->viewIfLoaded();
  const bool isInUse = controller->parent_ || controller->presenting_ || controller->presented_;
  return isInUse || (view && view->window()) ? "which is active already" : nullptr;
}

void UIViewController::present(const std::shared_ptr<UIViewController>& controller, bool animated,
                               const Completion& completion) {
  if (const char* refusal = refusalToPresent(controller.get())) {
    NSLog("Warning: Attempt to present " + (controller ? controller->description() : "nil") + ", " + refusal +
          ": " + description());
    return;
  }
  const auto keepAlive = weak_from_this().lock();
  const auto presented = controller;  // the caller's reference may go while others are called
  presented->leaveScreen();
  if (refusalToPresent(presented.get())) return;
  presented_ = presented;
  presented->presenting_ = this;

  if (isCovered()) beginOwnTransition(false, animated);
  if (presented_ == presented) presented->beginAppearanceTransition(true, animated);
  if (presented_ == presented) {
    coverWithPresented();
    presented->endAppearanceTransition();
    if (appearance_ == Appearance::Disappearing) endOwnTransition();
  } else if (appearance_ == Appearance::Disappearing) {
    // Dismissed by one who was told that it was coming.
    beginOwnTransition(true, animated);
    endOwnTransition();
  }
  if (completion) completion();
}

void UIViewController::coverWithPresented() {
  const auto presenterView = viewIfLoaded();
  UIWindow* const window = presenterView ? presenterView->window() : nullptr;
  if (!window) return;
  const auto presentedView = presented_->view();
  presentedView->setFrame(window->bounds());
  window->addSubview(presentedView);
  presentedView->layoutIfNeeded();
  if (isCovered()) hideCoveredView();
}

void UIViewController::hideCoveredView() {
  UIView* const superview = view_ ? view_->superview() : nullptr;
  if (!superview) return;
  const auto& views = superview->subviews();
  coveredIndex_ = static_cast<std::size_t>(std::find(views.begin(), views.end(), view_) - views.begin());
  coveredSuperview_ = std::static_pointer_cast<UIView>(superview->weak_from_this().lock());
  view_->removeFromSuperview();
}

// Called when the root of a window has been shown or hidden: the window may have put it in front again, or
// have replaced it.
void UIViewController::arrangePresentedViews() {
  const Children chain = presentedChain();
  UIWindow* window = view_ ? view_->window() : nullptr;
  for (const auto& controller : chain) {
    if (!window && controller->view_) window = controller->view_->window();
  }
  if (!window) return;
  if (window->rootViewController().get() != this) {
    if (isOnScreen()) return;  // not the root of a window, but its view is placed by the app
    coveredSuperview_.reset();
    for (const auto& controller : chain) {
      if (controller->view_) controller->view_->removeFromSuperview();
    }
    return;
  }
  for (const auto& controller : chain) {
    const auto view = controller->view();
    view->setFrame(window->bounds());
    if (!controller->isCovered() && view->superview() != window) window->addSubview(view);
  }
  if (!isCovered()) return;
  const std::size_t index = coveredIndex_;
  hideCoveredView();
  coveredIndex_ = index;
}

// --- Dismissing

void UIViewController::dismiss(bool animated, const Completion& completion) {
  UIViewController* presenter = presentingViewController();
  if (const auto presented = presentedViewController()) presenter = presented->presenting_;
  if (presenter && !presenter->isDismissing_) presenter->dismissPresented(animated);
  if (completion) completion();
}

// One that is told here may dismiss a controller further down, and this one's presentation with it. Then all
// is done that is left to do.
void UIViewController::dismissPresented(bool animated) {
  const auto keepAlive = weak_from_this().lock();
  const ScopedFlag dismissing(isDismissing_);

  Children dismissed = presentedChain();
  std::reverse(dismissed.begin(), dismissed.end());
  const auto first = dismissed.back();
  // One that is dismissing was seen when it began to.
  const bool isSeen = std::any_of(dismissed.begin(), dismissed.end(), [](const auto& controller) {
    return controller->isOnScreen() || controller->isDismissing_;
  });
  const bool returns = isCovered() && isSeen;

  for (const auto& controller : dismissed) controller->beginOwnTransition(false, animated);
  if (presented_ != first) return;
  if (returns) beginOwnTransition(true, animated);
  if (presented_ != first) return;

  uncover();
  for (const auto& controller : dismissed) {
    if (const auto view = controller->viewIfLoaded()) view->removeFromSuperview();
    if (UIViewController* const presenter = std::exchange(controller->presenting_, nullptr)) {
      presenter->presented_ = nullptr;
      presenter->coveredSuperview_.reset();
    }
  }
  isDismissing_ = false;  // what is presented from here on can be dismissed at once
  if (returns && appearance_ == Appearance::Appearing) endOwnTransition();
  for (const auto& controller : dismissed) {
    if (controller->appearance_ == Appearance::Disappearing) controller->endOwnTransition();
  }
}

void UIViewController::uncover() {
  const auto superview = coveredSuperview_.lock();
  coveredSuperview_.reset();
  if (!superview || !view_) return;
  if (superview->window() == superview.get()) view_->setFrame(superview->bounds());
  superview->insertSubview(view_, std::min(coveredIndex_, superview->subviews().size()));
  view_->layoutIfNeeded();
}

}  // namespace platform
