#include "platform/uikit/UIGestureRecognizer.h"

#include "platform/uikit/internal/PerformAction.h"

namespace platform {

using State = UIGestureRecognizerState;

constinit Method<std::shared_ptr<UIGestureRecognizer>(UIGestureRecognizer&, NSObject*, SEL)>
    UIGestureRecognizer::initWithTargetMethod{
        UIGestureRecognizer::classObject,
        "initWithTarget:action:", [](UIGestureRecognizer& self, SEL, NSObject* target, SEL action) {
          self.isInitialized_ = true;
          self.addTarget(target, action);
          return std::static_pointer_cast<UIGestureRecognizer>(self.weak_from_this().lock());
        }};

constinit Method<void(UIGestureRecognizer&, State)> UIGestureRecognizer::setStateMethod{
    UIGestureRecognizer::classObject, "setState:", [](UIGestureRecognizer& self, SEL, State next) {
      if (!self.isStepAllowed(next)) return;
      if (self.state_ == State::Possible) self.recognized_ = next == State::Began || next == State::Ended;
      self.state_ = next;
      self.actionsPending_ |= next != State::Possible && next != State::Failed;
    }};

void UIGestureRecognizer::describe(ClassBuilder<UIGestureRecognizer>& c) {
  c.method(initWithTargetMethod).method(setStateMethod).key("state", &UIGestureRecognizer::state);
}

UIGestureRecognizer::UIGestureRecognizer() = default;
UIGestureRecognizer::~UIGestureRecognizer() = default;

std::shared_ptr<UIGestureRecognizer> UIGestureRecognizer::initWithTarget(NSObject* target, SEL action) {
  return initWithTargetMethod.invoke(*this, target, action);
}

void UIGestureRecognizer::addTarget(NSObject* target, SEL action) {
  if (!target || !action) return;
  if (!isInitialized_) {
    initWithTargetMethod.invoke(*this, target, action);
  } else {
    targets_.push_back({target->weak_from_this(), action});
  }
}

void UIGestureRecognizer::setState(State state) { setStateMethod.invoke(*this, state); }

std::shared_ptr<UIView> UIGestureRecognizer::view() const { return view_.lock(); }

void UIGestureRecognizer::setEnabled(bool enabled) {
  enabled_ = enabled;
  if (!enabled) giveUp();
}

void UIGestureRecognizer::giveUp() {
  const auto self = shared_from_this();
  if (isActive()) {
    setState(State::Cancelled);
  } else if (state_ == State::Possible && !touches_.empty()) {
    setState(State::Failed);
  }
  sendPendingActions();
}

void UIGestureRecognizer::sendPendingActions() {
  if (!std::exchange(actionsPending_, false)) return;
  const auto targets = targets_;
  for (const Target& target : targets) {
    if (const auto object = target.object.lock()) performAction(*object, target.action, this, nullptr);
  }
}

bool UIGestureRecognizer::isStepAllowed(State next) const {
  switch (state_) {
    case State::Possible:
      return next == State::Began || next == State::Ended || next == State::Failed;
    case State::Began:
    case State::Changed:
      return next == State::Changed || next == State::Ended || next == State::Cancelled;
    case State::Ended:
    case State::Cancelled:
    case State::Failed:
      return next == State::Possible && touches_.empty();
  }
  return false;
}

bool UIGestureRecognizer::isActive() const { return state_ == State::Began || state_ == State::Changed; }

bool UIGestureRecognizer::isFinished() const { return state_ != State::Possible && !isActive(); }

}  // namespace platform
