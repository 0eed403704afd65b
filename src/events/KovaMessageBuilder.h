#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KIEvent;
struct KIMoment;
class KIIdentityManager;
class KISessionManager;
class KovaAppProperties;

// Turns events, ready-made event dictionaries and pageviews into messages: flat dictionaries that say who,
// where, when and, in one entry, what happened. This class owns the wire format of messages.
//
// A message is enriched when it has both "sessionInfo" and "pageviewInfo"; one that is not was built before
// the first pageview of its session and must not leave the device.
//
// Owned by the tracker, as are the three objects that it reads.
class KovaMessageBuilder {
 public:
  KovaMessageBuilder(std::string_view appId, const KovaAppProperties& appProperties,
                     const KISessionManager& sessionManager, const KIIdentityManager& identityManager);

  // A message without its "event" or "pageview". What is not given is taken from the managers.
  platform::MutableDictionary mutableBaseMessageWithEventProperties(
      const std::optional<platform::Dictionary>& eventProperties,
      const std::optional<platform::Dictionary>& userInfo,
      const std::optional<platform::Dictionary>& pageviewInfo,
      const std::optional<platform::Dictionary>& sessionInfo) const KOVA_ON_MUTATION_QUEUE;
  platform::MutableDictionary mutableMessageWithEventDictionary(
      platform::Dictionary eventDictionary, std::string_view kind, int appVisibilityState,
      const KIMoment& moment) const KOVA_ON_MUTATION_QUEUE;
  // Only for showing a pageview in the Event Visualizer: pageviews are uploaded as pixel URLs.
  platform::MutableDictionary mutableMessagePageviewWithPageviewInfo(
      const platform::Dictionary& pageviewInfo) const KOVA_ON_MUTATION_QUEUE;
  // Id and timestamp are the event's own.
  platform::MutableDictionary mutableMessageForEvent(const KIEvent& event) const KOVA_ON_MUTATION_QUEUE;

  // Gives messages that lack pageview or session info those of the session's pageview, once one has been
  // logged.
  void enrichMessagesWithFirstPageview(std::vector<platform::MutableDictionary>& messages) const
      KOVA_ON_MUTATION_QUEUE;

  static bool unenrichedMessagesExistInArray(const std::vector<platform::MutableDictionary>& messages);

 private:
  platform::MutableDictionary mutableBaseMessage(const KIMoment& moment) const KOVA_ON_MUTATION_QUEUE;
  const platform::Dictionary& transmittableEventProperties(const platform::Dictionary& eventProperties) const
      KOVA_ON_MUTATION_QUEUE;

  const platform::Value appId_;
  const KovaAppProperties& appProperties_;
  const KISessionManager& sessionManager_;
  const KIIdentityManager& identityManager_;
  // The event properties that were last asked for, and what is transmitted of them: the same for message
  // after message.
  mutable platform::Dictionary lastEventProperties_ KOVA_OF_MUTATION_QUEUE;
  mutable platform::Dictionary lastTransmittable_ KOVA_OF_MUTATION_QUEUE;
};
