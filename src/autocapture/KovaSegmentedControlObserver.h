#pragma once

#include <memory>
#include <string>

#include "platform/runtime/NSObject.h"
#include "src/autocapture/KITouchEvent.h"

namespace platform {
class UISegmentedControl;
}

// Completes a touch on a segmented control: when the touch begins the control does not know yet which segment
// will be selected, so this watches the selection while the event waits, and gives the event the title.
//
// Life cycle: from the touch to the moment the event leaves the touch event cache, whose removal callback
// holds and stops it. It keeps its event and its control.
class KovaSegmentedControlObserver : public platform::NSObject {
  NS_OBJECT(KovaSegmentedControlObserver, NSObject)

 public:
  // Observes at once. Null when the event's view is no segmented control.
  static std::shared_ptr<KovaSegmentedControlObserver> observeTouchEvent(std::shared_ptr<KITouchEvent> event)
      KOVA_ON_MAIN_THREAD;

  // `observeTouchEvent`'s own.
  KovaSegmentedControlObserver(std::shared_ptr<KITouchEvent> event,
                               std::shared_ptr<platform::UISegmentedControl> control);
  ~KovaSegmentedControlObserver() override;

  void startObserving() KOVA_ON_MAIN_THREAD;
  // Harmless when it does not observe.
  void stopObserving() KOVA_ON_MAIN_THREAD;

  void observeValueForKeyPath(const std::string& keyPath, NSObject& object,
                              const platform::KeyValue& newValue, const void* context) override;

 private:
  void unsafeObserveValueForKeyPath(const void* context) KOVA_ON_MAIN_THREAD;
  // False for a touch whose finger has nothing to do with the event that is being dispatched.
  bool shouldAttributeValueChangeToTouchEvent() const KOVA_ON_MAIN_THREAD;

  const std::shared_ptr<KITouchEvent> touchEvent_;
  const std::shared_ptr<platform::UISegmentedControl> control_;
};
