#include "src/autocapture/KITouchEventCache.h"

#include <algorithm>

#include "platform/runtime/Retained.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UITouch.h"
#include "src/core/Guard.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

constexpr const char* kPhase = "phase";
const char kTouchStateContext = 0;  // its address tells this observation from others

}  // namespace

KITouchEventCache::KITouchEventCache(double cacheDurationAfterTouchCompletion, double maximumCacheDuration)
    : cacheDurationAfterTouchCompletion_(cacheDurationAfterTouchCompletion),
      maximumCacheDuration_(maximumCacheDuration) {}

KITouchEventCache::~KITouchEventCache() = default;

std::shared_ptr<KITouchEventCache::Entry> KITouchEventCache::addTouchEvent(
    std::shared_ptr<KITouchEvent> event, std::function<void()> removal) {
  kova::warnOffMainThread("addTouchEvent:removal:");
  const auto entry = std::make_shared<Entry>(Entry{std::move(event), std::move(removal), nullptr});
  const auto& touch = entry->event->touch();
  const bool isOver = !touch || touch->phase() == UITouchPhase::Ended;
  startTimer(entry, isOver ? cacheDurationAfterTouchCompletion_ : maximumCacheDuration_);
  if (touch) touch->addObserver(weak_from_this(), kPhase, &kTouchStateContext);
  cache_.push_back(entry);
  return entry;
}

KITouchEventCache::Events KITouchEventCache::eventsWithTouchIfPresent(
    const UITouch* touch, const UIControl* otherwiseControl) const {
  Events events;
  for (const auto& entry : cache_) {
    const KITouchEvent& event = *entry->event;
    const bool matches = touch ? event.touch().get() == touch
                               : otherwiseControl && event.closestControl().get() == otherwiseControl;
    if (matches) events.push_back(entry->event);
  }
  return events;
}

KITouchEventCache::Events KITouchEventCache::allEvents() const {
  Events events;
  for (const auto& entry : cache_) events.push_back(entry->event);
  return events;
}

void KITouchEventCache::removeEntry(const std::shared_ptr<Entry>& leaving) {
  kova::warnOffMainThread("removeEntry:");
  const std::shared_ptr<Entry> entry = leaving;  // the reference may be to the place in the cache
  // Without a timer it is being removed already, further up the stack.
  if (std::find(cache_.begin(), cache_.end(), entry) == cache_.end() || !entry->timeoutTimer) return;
  std::exchange(entry->timeoutTimer, nullptr)->invalidate();
  if (const auto& touch = entry->event->touch()) touch->removeObserver(*this, kPhase, &kTouchStateContext);
  // Also after a bail, so that what the callback holds is released.
  if (const auto removal = std::exchange(entry->removalCallback, nullptr)) {
    kova::guarded({*this, "removeEntry:"}, removal, kova::OnException::Bail, kova::WhenBailed::RunAnyway);
  }
  std::erase(cache_, entry);
}

void KITouchEventCache::removeAllEntries() {
  const auto entries = cache_;
  for (const auto& entry : entries) removeEntry(entry);
}

void KITouchEventCache::observeValueForKeyPath(const std::string& keyPath, NSObject& object,
                                               const KeyValue& newValue, const void* context) {
  if (context != &kTouchStateContext) {
    return NSObject::observeValueForKeyPath(keyPath, object, newValue, context);
  }
  kova::guarded({*this, "observeValueForKeyPath:ofObject:change:context:"}, [&] {
    kova::mainThread.isHere();
    const auto* touch = dynamic_cast<const UITouch*>(&object);
    if (touch && touch->phase() == UITouchPhase::Ended) touchEnded(*touch);
  });
}

void KITouchEventCache::touchEnded(const UITouch& touch) {
  for (const auto& entry : cache_) {
    if (entry->event->touch().get() != &touch || !entry->timeoutTimer) continue;
    entry->timeoutTimer->invalidate();
    startTimer(entry, cacheDurationAfterTouchCompletion_);
  }
}

// A timer keeps the cache and its entry until it has fired or is invalidated: no cache dies before its last
// entry has left.
void KITouchEventCache::startTimer(const std::shared_ptr<Entry>& entry, double seconds) {
  entry->timeoutTimer = NSTimer::scheduled(seconds, [self = retained(*this), entry] {
    kova::mainThread.isHere();
    self->removeEntry(entry);
  });
}
