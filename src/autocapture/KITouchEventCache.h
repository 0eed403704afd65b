#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/dispatch/NSTimer.h"
#include "platform/runtime/NSObject.h"
#include "src/autocapture/KITouchEvent.h"

// One event that waits, and what is to be done when it leaves.
struct KITouchEventCacheEntry {
  std::shared_ptr<KITouchEvent> event;
  std::function<void()> removalCallback;  // run once; may be empty
  std::shared_ptr<platform::NSTimer> timeoutTimer;
};

// Where touch events wait for the action that their touch may cause: until a short time after the finger was
// lifted, or for a longer one when that is never seen. A cancelled touch waits for the longer one.
//
// Owner: the tracker. Its timers belong to the default mode of the main run loop; calls from elsewhere than
// the main thread log a warning, and go on.
class KITouchEventCache : public platform::NSObject {
  NS_OBJECT(KITouchEventCache, NSObject)

 public:
  using Entry = KITouchEventCacheEntry;
  using Events = std::vector<std::shared_ptr<KITouchEvent>>;

  // Both in seconds.
  KITouchEventCache(double cacheDurationAfterTouchCompletion, double maximumCacheDuration);
  ~KITouchEventCache() override;

  std::shared_ptr<Entry> addTouchEvent(std::shared_ptr<KITouchEvent> event,
                                       std::function<void()> removal) KOVA_ON_MAIN_THREAD;

  // Oldest first. With a touch, those of that touch; without one, those whose closest control
  // is the control. Both may be null.
  Events eventsWithTouchIfPresent(const platform::UITouch* touch,
                                  const platform::UIControl* otherwiseControl) const KOVA_ON_MAIN_THREAD;
  Events allEvents() const KOVA_ON_MAIN_THREAD;

  // An entry that has left already is ignored.
  void removeEntry(const std::shared_ptr<Entry>& entry) KOVA_ON_MAIN_THREAD;
  void removeAllEntries() KOVA_ON_MAIN_THREAD;

  void observeValueForKeyPath(const std::string& keyPath, NSObject& object,
                              const platform::KeyValue& newValue, const void* context) override;

 private:
  void startTimer(const std::shared_ptr<Entry>& entry, double seconds) KOVA_ON_MAIN_THREAD;
  void touchEnded(const platform::UITouch& touch) KOVA_ON_MAIN_THREAD;

  const double cacheDurationAfterTouchCompletion_;
  const double maximumCacheDuration_;
  std::vector<std::shared_ptr<Entry>> cache_ KOVA_OF_MAIN_THREAD;
};
