#include "src/events/KIEvent.h"

#include "src/events/KovaUtil.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"

KIEvent::KIEvent(std::string kind, int appVisibilityState)
    : timestamp_(KovaUtil::epochString()),
      eventId_(KovaUtil::randomId()),
      appVisibilityState_(appVisibilityState),
      kind_(std::move(kind)) {}

void KIEvent::applyMissingPropertiesFromSessionManager(const KISessionManager& sessionManager,
                                                       const KIIdentityManager& identityManager) {
  if (!eventProperties_) eventProperties_ = identityManager.eventProperties();
  if (!userInfo_) userInfo_ = identityManager.userInfo();
  if (!sessionInfo_) sessionInfo_ = sessionManager.sessionInfo();
  if (!pageviewInfo_) pageviewInfo_ = sessionManager.mostRecentPageviewInfo();
}
