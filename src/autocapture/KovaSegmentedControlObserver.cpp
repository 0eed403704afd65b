#include "src/autocapture/KovaSegmentedControlObserver.h"

#include <algorithm>

#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UISegmentedControl.h"
#include "src/core/Guard.h"
#include "src/core/UIApplication+DispatchState.h"

using namespace platform;

namespace {

constexpr const char* kSelectedSegmentIndex = "selectedSegmentIndex";
const char kObserverContext = 0;  // its address tells this observation from others

}  // namespace

std::shared_ptr<KovaSegmentedControlObserver> KovaSegmentedControlObserver::observeTouchEvent(
    std::shared_ptr<KITouchEvent> event) {
  auto control = std::dynamic_pointer_cast<UISegmentedControl>(event->view());
  if (!control) return nullptr;
  auto observer = std::make_shared<KovaSegmentedControlObserver>(std::move(event), std::move(control));
  observer->startObserving();
  return observer;
}

KovaSegmentedControlObserver::KovaSegmentedControlObserver(std::shared_ptr<KITouchEvent> event,
                                                           std::shared_ptr<UISegmentedControl> control)
    : touchEvent_(std::move(event)), control_(std::move(control)) {}

KovaSegmentedControlObserver::~KovaSegmentedControlObserver() = default;

void KovaSegmentedControlObserver::startObserving() {
  control_->addObserver(weak_from_this(), kSelectedSegmentIndex, &kObserverContext);
}

void KovaSegmentedControlObserver::stopObserving() {
  try {
    control_->removeObserver(*this, kSelectedSegmentIndex, &kObserverContext);
  } catch (const NotAnObserverError&) {
    // It did not observe.
  }
}

void KovaSegmentedControlObserver::observeValueForKeyPath(const std::string&, NSObject&, const KeyValue&,
                                                          const void* context) {
  kova::guarded({*this, "observeValueForKeyPath:ofObject:change:context:"}, [&] {
    kova::mainThread.isHere();
    unsafeObserveValueForKeyPath(context);
  });
}

void KovaSegmentedControlObserver::unsafeObserveValueForKeyPath(const void* context) {
  if (context != &kObserverContext) return;
  const int index = control_->selectedSegmentIndex();
  if (index < 0 || index >= control_->numberOfSegments()) return;
  if (!shouldAttributeValueChangeToTouchEvent()) return;
  touchEvent_->setTargetText(control_->titleForSegmentAtIndex(index).value_or(String()));
}

bool KovaSegmentedControlObserver::shouldAttributeValueChangeToTouchEvent() const {
  UIEvent* const event = KOVA_sentEvent();
  const auto& touch = touchEvent_->touch();
  if (!touch || !event || event->allTouches().empty()) return true;
  const auto& touches = event->allTouches();
  return std::find(touches.begin(), touches.end(), touch) != touches.end();
}
