#include "platform/qt/QtTouches.h"

#include <QThread>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIApplication.h"

namespace platform {

namespace {

// Who takes the actions: the app has done so, by means of Qt's.
class QtActionTarget final : public NSObject {
 public:
  const Class& isa() const noexcept override { return cls(); }
  static QtActionTarget& shared() {
    static const auto& target = *new std::shared_ptr<QtActionTarget>(new QtActionTarget);
    return *target;
  }
  void learn(SEL action) {
    if (!cls().respondsToSelector(action)) {
      cls().addAction(action, [](NSObject&, NSObject*, NSObject*) { return true; });
    }
  }

 private:
  static Class& cls() {
    static Class& made = Class::derive("QObject", NSObject::classObject(), typeid(QtActionTarget));
    return made;
  }
};

}  // namespace

QtTouches& QtTouches::shared() {
  static QtTouches& touches = *new QtTouches;
  return touches;
}

void QtTouches::press(const QtHit& hit, int tapCount) {
  release();
  noteInput();
  touch_ = std::make_shared<UITouch>();
  touch_->setTarget(hit.window, hit.view);
  touch_->setTapCount(tapCount);
  // Twice: there is no previous place but this one.
  touch_->moveTo(hit.place);
  touch_->moveTo(hit.place);
  event_ = std::make_shared<UIEvent>();
  event_->addTouch(touch_);
  isDown_ = true;
  send(UITouchPhase::Began);
}

void QtTouches::release() {
  if (!std::exchange(isDown_, false)) return;
  noteInput();
  send(UITouchPhase::Ended);
}

void QtTouches::send(UITouchPhase phase) {
  const auto event = event_;
  touch_->setTimestamp(Scheduler::current().uptime());
  touch_->setPhase(phase);
  if (const auto application = UIApplication::sharedApplication()) application->sendEvent(*event);
}

void QtTouches::noteInput() {
  isInput_ = true;
  const int level = QThread::currentThread()->loopLevel();
  // Before the clearing is asked for, which looks whether it is still there.
  if (!handling_ || inputLevel_ != level) {
    handling_ = new QObject(&handlings_);
    handling_->deleteLater();
  }
  inputLevel_ = level;
  expected_.reset();
  if (inputLevel_ <= rescuedLevel_) rescued_.reset();
  clearing_.ask();
}

void QtTouches::expectAction(const std::string& action, const std::shared_ptr<UIView>& view,
                             QObject& sender) {
  expected_ = {action, view, &sender};
}

void QtTouches::clearInput() {
  isInput_ = false;
  if (const auto due = std::exchange(expected_, std::nullopt); due && (handling_ || !due->sender)) {
    const int level = inputLevel_;
    deliver(due->action, due->view);
    isInput_ = false;
    rescued_ = due->view;
    rescuedLevel_ = level;
  }
  if (isDown_) return;
  event_.reset();
  touch_.reset();
}

std::shared_ptr<UIView> QtTouches::touchedView() const { return touch_ ? touch_->view() : nullptr; }

bool QtTouches::isTouchOn(const UIView& view) const {
  const auto touched = touchedView();
  return touched && touched->isDescendantOfView(view);
}

void QtTouches::sendAction(const std::string& action, const std::shared_ptr<UIView>& sender) {
  if (rescued_ == sender) return rescued_.reset();
  const bool isTouched = isTouchOn(*sender);
  // The input of a dialog that a slot has opened is not what the action behind that slot comes from.
  const bool isInputHere = isInput_ && inputLevel_ == QThread::currentThread()->loopLevel();
  if (!isTouched && !isInputHere) return;
  if (expected_ && expected_->view == sender) expected_.reset();
  deliver(action, sender);
}

void QtTouches::deliver(const std::string& action, const std::shared_ptr<UIView>& sender) {
  const auto application = UIApplication::sharedApplication();
  if (!application) return;
  const bool isTouched = isTouchOn(*sender);
  if (!isTouched) press(hitInTheMiddleOf(sender), 1);
  const auto event = event_;
  const SEL selector(action);
  QtActionTarget::shared().learn(selector);
  application->sendAction(selector, &QtActionTarget::shared(), sender.get(), event.get());
  if (!isTouched) release();
}

}  // namespace platform
