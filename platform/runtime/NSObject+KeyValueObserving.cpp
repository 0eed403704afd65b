#include <algorithm>

#include "platform/runtime/NSObject.h"
#include "platform/runtime/RuntimeLog.h"
#include "platform/runtime/internal/NSObjectExtras.h"

namespace platform {

void NSObject::addObserver(const std::weak_ptr<NSObject>& observer, const std::string& keyPath,
                           const void* context) {
  if (!isa().announcesKey(keyPath)) {
    throw UndefinedKeyError(isa().name() + " cannot be observed for " + keyPath);
  }
  auto& observations = extras().observations;
  std::erase_if(observations, [](const auto& observation) { return observation->observer.expired(); });

  const std::shared_ptr<NSObject> live = observer.lock();
  if (!live) {
    return runtimeLog("Nobody observes " + isa().name() + " for " + keyPath +
                      ": the observer is gone, or no shared pointer holds it yet, as in its constructor");
  }
  observations.push_back(std::make_shared<NSObjectExtras::Observation>(
      NSObjectExtras::Observation{live.get(), observer, keyPath, context}));
}

// The comparison is by address, so that an observer may still remove itself from its destructor.
void NSObject::removeObserver(const NSObject& observer, std::string_view keyPath, const void* context) {
  const auto matches = [&](const auto& observation) {
    return observation->identity == &observer && observation->keyPath == keyPath &&
           observation->context == context;
  };
  if (extras_) {
    auto& observations = extras_->observations;
    const auto latest = std::find_if(observations.rbegin(), observations.rend(), matches);
    if (latest != observations.rend()) {
      (*latest)->isRemoved = true;
      observations.erase(std::next(latest).base());
      return;
    }
  }
  throw NotAnObserverError("No such observer of " + isa().name() + " for " + std::string(keyPath));
}

void NSObject::observeValueForKeyPath(const std::string&, NSObject&, const KeyValue&, const void*) {}

void NSObject::didChangeValueForKey(std::string_view key) {
  if (!extras_ || extras_->observations.empty()) return;

  // Observers may add, remove, and let go of this very object: the round works on a copy and keeps the
  // object.
  const std::shared_ptr<NSObject> keepAlive = weak_from_this().lock();
  auto& observations = extras_->observations;
  std::erase_if(observations, [](const auto& observation) { return observation->observer.expired(); });
  std::vector<std::shared_ptr<NSObjectExtras::Observation>> round;
  std::copy_if(observations.begin(), observations.end(), std::back_inserter(round),
               [key](const auto& observation) { return observation->keyPath == key; });
  if (round.empty()) return;

  const KeyValue newValue = valueForKey(key);
  for (const auto& observation : round) {
    if (observation->isRemoved) continue;
    const std::shared_ptr<NSObject> observer = observation->observer.lock();
    if (!observer) continue;
    observer->observeValueForKeyPath(observation->keyPath, *this, newValue, observation->context);
  }
}

}  // namespace platform
