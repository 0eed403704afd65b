#pragma once

#include "src/events/KIEvent.h"
#include "src/identity/lifecycle/KILifecycleVersion.h"

// The app's first run after an installation or an upgrade.
class KILifecycleEvent : public KIEvent {
  NS_OBJECT(KILifecycleEvent, KIEvent)

 public:
  KILifecycleEvent(KILifecycleVersion version, KILifecycleVersion previousVersion);

  platform::MutableDictionary mutableEventDictionary() const override;
  std::string description() const override;

  bool isUpgrade() const { return isUpgrade_; }
  const KILifecycleVersion& version() const { return version_; }
  const KILifecycleVersion& prevVersion() const { return previousVersion_; }

 private:
  const KILifecycleVersion version_;
  const KILifecycleVersion previousVersion_;
  const bool isUpgrade_;
};
