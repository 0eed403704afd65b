#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KIIdentityManager;
class KISessionManager;

// What is recorded of the moment in which something happened: when, to whom, under which event properties, in
// which session and on which screen. A plain value. What is missing is not known yet.
struct KIMoment {
  // The present time, and nothing else.
  static KIMoment now();

  // Fills what is missing with what is current, and only that.
  void applyMissingPropertiesFromSessionManager(const KISessionManager& sessionManager,
                                                const KIIdentityManager& identityManager)
      KOVA_ON_MUTATION_QUEUE;

  std::string timestamp;  // milliseconds since 1970
  std::optional<platform::Dictionary> userInfo;
  std::optional<platform::Dictionary> eventProperties;
  // None before the session's first pageview.
  std::optional<platform::Dictionary> sessionInfo;
  std::optional<platform::Dictionary> pageviewInfo;
};
