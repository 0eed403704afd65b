#include "platform/uikit/UITouchInput.h"

#include <algorithm>
#include <cmath>

#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/WindowOrder.h"

namespace platform {

namespace {

// Two taps belong together when no more lies between the first's lifting and the second's touching down.
constexpr double kTapPause = 0.35;   // seconds
constexpr double kTapMovement = 30;  // points, each way

bool isNear(CGPoint a, CGPoint b) {
  return std::abs(a.x - b.x) <= kTapMovement && std::abs(a.y - b.y) <= kTapMovement;
}

void setPhase(UITouch& touch, UITouchPhase phase) {
  touch.setTimestamp(Scheduler::current().uptime());
  touch.setPhase(phase);
}

void send(UIEvent& event) {
  if (const auto application = UIApplication::sharedApplication()) application->sendEvent(event);
}

// Who observes a phase, or handles the event, finds the list of fingers as it is from now on.
void send(UIEvent& event, UITouch& changed, UITouchPhase phase) {
  for (const auto& touch : event.allTouches()) {
    if (touch.get() != &changed) touch->setPhase(UITouchPhase::Stationary);
  }
  setPhase(changed, phase);
  send(event);
}

}  // namespace

UITouchInput::UITouchInput() = default;

UITouchInput::~UITouchInput() {
  try {
    cancelAllTouches();
  } catch (...) {
    // A handler of the app threw; a destructor has nobody to pass that on to.
  }
}

void UITouchInput::touchBegan(Finger finger, CGPoint pointOnScreen) {
  touchEnded(finger);
  WindowHit hit = hitTestWindows(pointOnScreen);
  const CGPoint point = hit.window ? hit.window->convertPointFromScreen(pointOnScreen) : pointOnScreen;
  begin(finger, point, true, std::move(hit.window), std::move(hit.view));
}

void UITouchInput::touchBegan(Finger finger, CGPoint point, const std::shared_ptr<UIWindow>& window) {
  if (!window) return touchBegan(finger, point);
  touchEnded(finger);
  window->layoutIfNeeded();
  UIView* const hit = window->hitTest(point, nullptr);
  auto view = hit ? std::static_pointer_cast<UIView>(hit->shared_from_this()) : nullptr;
  begin(finger, point, false, window, std::move(view));
}

void UITouchInput::begin(Finger finger, CGPoint point, bool onScreen, std::shared_ptr<UIWindow> window,
                         std::shared_ptr<UIView> view) {
  const double uptime = Scheduler::current().uptime();
  const auto touch = std::make_shared<UITouch>();
  touch->setTapCount(tapCountAt(window, point, uptime));
  // Twice: there is no previous place but this one.
  touch->moveTo(point);
  touch->moveTo(point);
  touch->setTarget(std::move(window), std::move(view));
  down_.push_back({finger, touch, point, onScreen});
  send(*eventOfAll(), *touch, UITouchPhase::Began);
}

void UITouchInput::touchMoved(Finger finger, CGPoint point) {
  const Down* const down = find(finger);
  if (!down) return;
  const auto touch = down->touch;
  const auto window = touch->window();
  touch->moveTo(down->onScreen && window ? window->convertPointFromScreen(point) : point);
  send(*eventOfAll(), *touch, UITouchPhase::Moved);
}

void UITouchInput::touchEnded(Finger finger) {
  const Down* const down = find(finger);
  if (!down) return;
  noteTap(*down);
  const auto touch = down->touch;
  const auto event = eventOfAll();
  std::erase_if(down_, [&](const Down& each) { return each.touch == touch; });
  send(*event, *touch, UITouchPhase::Ended);
}

void UITouchInput::cancelAllTouches() {
  if (down_.empty()) return;
  const auto event = eventOfAll();
  down_.clear();
  for (const auto& touch : event->allTouches()) setPhase(*touch, UITouchPhase::Cancelled);
  send(*event);
}

std::shared_ptr<UIEvent> UITouchInput::eventOfAll() const {
  auto event = std::make_shared<UIEvent>();
  for (const Down& down : down_) event->addTouch(down.touch);
  return event;
}

std::shared_ptr<UITouch> UITouchInput::touchOf(Finger finger) const {
  const Down* const down = find(finger);
  return down ? down->touch : nullptr;
}

const UITouchInput::Down* UITouchInput::find(Finger finger) const {
  const auto found =
      std::find_if(down_.begin(), down_.end(), [&](const Down& down) { return down.finger == finger; });
  return found == down_.end() ? nullptr : &*found;
}

int UITouchInput::tapCountAt(const std::shared_ptr<UIWindow>& window, CGPoint point, double uptime) const {
  if (!lastTap_ || lastTap_->window.lock() != window || !isNear(lastTap_->place, point)) return 1;
  return uptime - lastTap_->uptime <= kTapPause ? lastTap_->count + 1 : 1;
}

void UITouchInput::noteTap(const Down& down) {
  const CGPoint place = down.touch->locationInView(nullptr);
  lastTap_.reset();
  if (!isNear(place, down.start)) return;
  lastTap_ = {down.touch->window(), place, Scheduler::current().uptime(), down.touch->tapCount()};
}

}  // namespace platform
