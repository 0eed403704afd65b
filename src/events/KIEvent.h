#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"
#include "src/events/KIEventRecording.h"
#include "src/events/KIMoment.h"

// One captured event: a touch, a gesture, a field edit, an install or an upgrade. Made on capture, turned
// into a message once, then dropped. Made and filled on one thread at a time; nothing is shared while it is
// being filled.
class KIEvent : public platform::NSObject {
  NS_OBJECT(KIEvent, NSObject)

 public:
  // Takes the time and a fresh id at once. `kind` becomes the key of the event's own dictionary in its
  // message; `appVisibilityState` is 1 in the background, 2 in the foreground, 0 when not given.
  KIEvent(std::string kind, int appVisibilityState);

  // The event's own fields. The base has none.
  virtual platform::MutableDictionary mutableEventDictionary() const { return {}; }

  // See KIMoment.
  void applyMissingPropertiesFromSessionManager(const KISessionManager& sessionManager,
                                                const KIIdentityManager& identityManager)
      KOVA_ON_MUTATION_QUEUE {
    moment_.applyMissingPropertiesFromSessionManager(sessionManager, identityManager);
  }

  const std::string& kind() const { return kind_; }
  const std::string& eventId() const { return eventId_; }
  int appVisibilityState() const { return appVisibilityState_; }

  // Milliseconds since 1970.
  const std::string& timestamp() const { return moment_.timestamp; }
  void setTimestamp(std::string timestamp) { moment_.timestamp = std::move(timestamp); }

  // Sent with the event's message; null when no dashboard watches.
  const std::shared_ptr<const KIEventRecording>& evCaptureContext() const { return evCaptureContext_; }
  void setEvCaptureContext(std::shared_ptr<const KIEventRecording> context) {
    evCaptureContext_ = std::move(context);
  }

  // Under which the capture was noted, and what has been added since.
  const std::vector<std::uint64_t>& calls() const { return calls_; }
  void addCall(std::uint64_t call) { calls_.push_back(call); }

  const KIMoment& moment() const { return moment_; }
  const std::optional<platform::Dictionary>& sessionInfo() const { return moment_.sessionInfo; }
  void setSessionInfo(std::optional<platform::Dictionary> info) { moment_.sessionInfo = std::move(info); }
  const std::optional<platform::Dictionary>& pageviewInfo() const { return moment_.pageviewInfo; }
  void setPageviewInfo(std::optional<platform::Dictionary> info) { moment_.pageviewInfo = std::move(info); }
  const std::optional<platform::Dictionary>& userInfo() const { return moment_.userInfo; }
  void setUserInfo(std::optional<platform::Dictionary> info) { moment_.userInfo = std::move(info); }
  const std::optional<platform::Dictionary>& eventProperties() const { return moment_.eventProperties; }
  void setEventProperties(std::optional<platform::Dictionary> properties) {
    moment_.eventProperties = std::move(properties);
  }

 private:
  KIMoment moment_;
  const std::string eventId_;
  const int appVisibilityState_;
  const std::string kind_;
  std::shared_ptr<const KIEventRecording> evCaptureContext_;
  std::vector<std::uint64_t> calls_;
};
