#include <algorithm>
#include <stdexcept>

#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UIViewController.h"

namespace platform {

UINavigationController* UIViewController::navigationController() const {
  for (auto* parent = parentViewController(); parent; parent = parent->parentViewController()) {
    if (auto* const found = dynamic_cast<UINavigationController*>(parent)) return found;
  }
  return nullptr;
}

// --- Children

void UIViewController::addChildViewController(std::shared_ptr<UIViewController> child) {
  if (!child) return;
  for (const UIViewController* above = this; above;
       above = above->parent_ ? above->parent_ : above->presenting_) {
    if (above == child.get()) throw std::invalid_argument("A view controller cannot contain itself");
  }
  if (child->parent_ == this) {
    if (std::find(children_.begin(), children_.end(), child) == children_.end()) children_.push_back(child);
    return;
  }
  child->removeFromParentViewController();
  if (child->presenting_) child->presenting_->dismissViewController(false);
  if (child->appearance_ == Appearance::Appeared) child->leaveScreen();
  if (child->parent_) return;  // someone who was told of this has placed it elsewhere
  child->parent_ = this;
  children_.push_back(std::move(child));
}

void UIViewController::removeFromParentViewController() {
  if (!parent_) return;
  const auto keepAlive = weak_from_this().lock();
  leaveScreen();
  UIViewController* const parent = std::exchange(parent_, nullptr);
  if (parent) std::erase_if(parent->children_, [this](const auto& child) { return child.get() == this; });
}

UIViewController::Withdrawal::Withdrawal(UIViewController& parent, std::size_t first)
    : keepAlive_(parent.weak_from_this().lock()),
      parent_(parent),
      children_(parent.children_.begin() + static_cast<std::ptrdiff_t>(first), parent.children_.end()) {
  parent.children_.resize(first);
}

UIViewController::Withdrawal::~Withdrawal() {
  for (const auto& child : children_) {
    const auto& listed = parent_.children_;
    const bool isBack = std::find(listed.begin(), listed.end(), child) != listed.end();
    if (!isBack && child->parent_ == &parent_) child->parent_ = nullptr;
  }
}

// --- Appearance

void UIViewController::beginAppearanceTransition(bool isAppearing, bool animated) {
  const auto keepAlive = weak_from_this().lock();
  if (isAppearing && parent_ && !parent_->isOnScreen()) return;
  const auto presented = presented_;
  if (!isAppearing || !isCovered()) beginOwnTransition(isAppearing, animated);
  if (presented && presented == presented_) presented->beginAppearanceTransition(isAppearing, animated);
}

void UIViewController::endAppearanceTransition() {
  const auto keepAlive = weak_from_this().lock();
  // It will have appeared when its parent has.
  if (parent_ && parent_->appearance_ == Appearance::Appearing && appearance_ == Appearance::Appearing)
    return;
  const auto presented = presented_;
  endOwnTransition();
  if (presented && presented == presented_) presented->endAppearanceTransition();
  if (presented_ && !parent_ && !presenting_ && !isDismissing_) arrangePresentedViews();
}

void UIViewController::beginOwnTransition(bool isAppearing, bool animated) {
  const auto keepAlive = weak_from_this().lock();
  if (isAppearing) {
    beginAppearing(animated);
  } else {
    beginDisappearing(animated);
  }
}

void UIViewController::beginAppearing(bool animated) {
  if (appearance_ == Appearance::Disappearing) endOwnTransition();
  view();
  if (appearance_ != Appearance::Disappeared) return;
  appearance_ = Appearance::Appearing;
  transitionAnimated_ = animated;
  const unsigned transition = ++transition_;
  viewWillAppear(animated);
  for (const auto& child : appearingChildren()) {
    if (transition != transition_) return;
    if (child && shows(*child)) child->beginAppearanceTransition(true, animated);
  }
}

void UIViewController::beginDisappearing(bool animated) {
  if (!isOnScreen()) return;
  appearance_ = Appearance::Disappearing;
  transitionAnimated_ = animated;
  const unsigned transition = ++transition_;
  viewWillDisappear(animated);
  for (const auto& child : Children(children_)) {
    if (transition != transition_) return;
    if (child->parent_ == this) child->beginAppearanceTransition(false, animated);
  }
}

void UIViewController::endOwnTransition() {
  const auto keepAlive = weak_from_this().lock();
  const bool isAppearing = appearance_ == Appearance::Appearing;
  if (!isAppearing && appearance_ != Appearance::Disappearing) return;
  appearance_ = isAppearing ? Appearance::Appeared : Appearance::Disappeared;
  const unsigned transition = transition_;
  const bool animated = transitionAnimated_;
  for (const auto& child : Children(children_)) {
    if (transition != transition_) return;
    if (child->parent_ == this) child->endAppearanceTransition();
  }
  if (transition != transition_) return;
  if (isAppearing) {
    viewDidAppear(animated);
  } else {
    viewDidDisappear(animated);
  }
}

void UIViewController::leaveScreen() {
  beginOwnTransition(false, false);
  if (appearance_ == Appearance::Disappearing) endOwnTransition();
}

bool UIViewController::shows(UIViewController& child) const {
  const auto outer = viewIfLoaded();
  const auto inner = child.viewIfLoaded();
  return outer && inner && inner->isDescendantOfView(*outer);
}

}  // namespace platform
