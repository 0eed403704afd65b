#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"

class KIIdentityManager;
class KISessionManager;

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

  // Fills those of the four dictionaries below that are still missing with what is current, and only those.
  // On the mutation queue.
  void applyMissingPropertiesFromSessionManager(const KISessionManager& sessionManager,
                                                const KIIdentityManager& identityManager);

  const std::string& kind() const { return kind_; }
  const std::string& eventId() const { return eventId_; }
  int appVisibilityState() const { return appVisibilityState_; }

  // Milliseconds since 1970.
  const std::string& timestamp() const { return timestamp_; }
  void setTimestamp(std::string timestamp) { timestamp_ = std::move(timestamp); }

  // What the Event Visualizer is to have of the event (KovaEventRecording), only held until its message is
  // built.
  const std::shared_ptr<const platform::NSObject>& evCaptureContext() const { return evCaptureContext_; }
  void setEvCaptureContext(std::shared_ptr<const platform::NSObject> context) {
    evCaptureContext_ = std::move(context);
  }

  const std::optional<platform::Dictionary>& sessionInfo() const { return sessionInfo_; }
  void setSessionInfo(std::optional<platform::Dictionary> info) { sessionInfo_ = std::move(info); }
  const std::optional<platform::Dictionary>& pageviewInfo() const { return pageviewInfo_; }
  void setPageviewInfo(std::optional<platform::Dictionary> info) { pageviewInfo_ = std::move(info); }
  const std::optional<platform::Dictionary>& userInfo() const { return userInfo_; }
  void setUserInfo(std::optional<platform::Dictionary> info) { userInfo_ = std::move(info); }
  const std::optional<platform::Dictionary>& eventProperties() const { return eventProperties_; }
  void setEventProperties(std::optional<platform::Dictionary> properties) {
    eventProperties_ = std::move(properties);
  }

 private:
  std::string timestamp_;
  const std::string eventId_;
  const int appVisibilityState_;
  const std::string kind_;
  std::shared_ptr<const platform::NSObject> evCaptureContext_;
  std::optional<platform::Dictionary> sessionInfo_;
  std::optional<platform::Dictionary> pageviewInfo_;
  std::optional<platform::Dictionary> userInfo_;
  std::optional<platform::Dictionary> eventProperties_;
};
