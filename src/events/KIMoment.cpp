#include "src/events/KIMoment.h"

#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"

#include "src/core/Clock.h"

KIMoment KIMoment::now() {
  return {kova::epochString(), std::nullopt, std::nullopt, std::nullopt, std::nullopt};
}

void KIMoment::applyMissingPropertiesFromSessionManager(const KISessionManager& sessionManager,
                                                        const KIIdentityManager& identityManager) {
  if (!eventProperties) eventProperties = identityManager.eventProperties();
  if (!userInfo) userInfo = identityManager.userInfo();
  if (!sessionInfo) sessionInfo = sessionManager.sessionInfo();
  if (!pageviewInfo) pageviewInfo = sessionManager.mostRecentPageviewInfo();
}
