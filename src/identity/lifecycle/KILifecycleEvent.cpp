#include "src/identity/lifecycle/KILifecycleEvent.h"

using namespace platform;

namespace {

constexpr int kAppVisibilityNotGiven = 0;
constexpr const char* kMissing = "<null>";

}  // namespace

KILifecycleEvent::KILifecycleEvent(KILifecycleVersion version, KILifecycleVersion previousVersion)
    : KIEvent("lifecycleEvent", kAppVisibilityNotGiven),
      version_(std::move(version)),
      previousVersion_(std::move(previousVersion)),
      isUpgrade_(version_.isUpgradeFromPreviousVersion(previousVersion_)) {}

MutableDictionary KILifecycleEvent::mutableEventDictionary() const {
  MutableDictionary dictionary = KIEvent::mutableEventDictionary();
  dictionary.set("previousVersionCode", previousVersion_.version().value_or(kMissing));
  dictionary.set("previousBuildType", previousVersion_.build().value_or(kMissing));
  dictionary.set("currentVersionCode", version_.version().value_or(kMissing));
  dictionary.set("currentBuildType", version_.build().value_or(kMissing));
  dictionary.set("isUpgrade", isUpgrade_);
  return dictionary;
}

std::string KILifecycleEvent::description() const {
  return formatted("<current version: %@, previous version: %@>", version_, previousVersion_);
}
