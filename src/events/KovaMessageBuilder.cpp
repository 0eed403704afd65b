#include "src/events/KovaMessageBuilder.h"

#include <algorithm>

#include "src/core/Clock.h"
#include "src/core/Ids.h"
#include "src/core/KovaInputTransformer.h"
#include "src/events/KIEvent.h"
#include "src/events/KovaAppProperties.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"

using namespace platform;

namespace {

// At most: six entries of every message, pageview and session info, properties, and what happened.
constexpr std::size_t kMessageEntries = 10;

Dictionary eventEntry(std::string_view kind, Dictionary eventDictionary, int appVisibilityState) {
  static const Value& visibilityKey = *new Value("appVisibilityState");  // longer than a Value holds in place
  MutableDictionary event;
  event.reserve(2);
  event.append(kind, std::move(eventDictionary));
  event.append(visibilityKey, appVisibilityState);
  return Dictionary(std::move(event));
}

}  // namespace

KovaMessageBuilder::KovaMessageBuilder(std::string_view appId, const KovaAppProperties& appProperties,
                                       const KISessionManager& sessionManager,
                                       const KIIdentityManager& identityManager)
    : appId_(appId),
      appProperties_(appProperties),
      sessionManager_(sessionManager),
      identityManager_(identityManager) {}

MutableDictionary KovaMessageBuilder::mutableBaseMessageWithEventProperties(
    const std::optional<Dictionary>& eventProperties, const std::optional<Dictionary>& userInfo,
    const std::optional<Dictionary>& pageviewInfo, const std::optional<Dictionary>& sessionInfo) const {
  return mutableBaseMessage({kova::epochString(), userInfo, eventProperties, sessionInfo, pageviewInfo});
}

MutableDictionary KovaMessageBuilder::mutableBaseMessage(const KIMoment& moment) const {
  MutableDictionary message;
  message.reserve(kMessageEntries);
  message.append("id", kova::randomId());
  message.append("envId", appId_);
  message.append("user", moment.userInfo ? *moment.userInfo : identityManager_.userInfo());
  message.append("timestamp", moment.timestamp);
  message.append("applicationInfo", appProperties_.applicationInfo());
  message.append("deviceInfo", appProperties_.deviceInfo());
  if (const auto pageview =
          moment.pageviewInfo ? moment.pageviewInfo : sessionManager_.mostRecentPageviewInfo()) {
    message.append("pageviewInfo", *pageview);
  }
  if (const auto session = moment.sessionInfo ? moment.sessionInfo : sessionManager_.sessionInfo()) {
    message.append("sessionInfo", *session);
  }
  const Dictionary& properties = transmittableEventProperties(
      moment.eventProperties ? *moment.eventProperties : identityManager_.eventProperties());
  if (!properties.empty()) message.append("properties", properties);
  return message;
}

const Dictionary& KovaMessageBuilder::transmittableEventProperties(const Dictionary& eventProperties) const {
  if (!eventProperties.isSameObject(lastEventProperties_)) {
    lastTransmittable_ =
        KovaInputTransformer::transmittableDictionaryForPropertyDictionary(Value(eventProperties));
    lastEventProperties_ = eventProperties;
  }
  return lastTransmittable_;
}

MutableDictionary KovaMessageBuilder::mutableMessageWithEventDictionary(Dictionary eventDictionary,
                                                                        std::string_view kind,
                                                                        int appVisibilityState,
                                                                        const KIMoment& moment) const {
  MutableDictionary message = mutableBaseMessage(moment);
  message.append("event", eventEntry(kind, std::move(eventDictionary), appVisibilityState));
  return message;
}

MutableDictionary KovaMessageBuilder::mutableMessagePageviewWithPageviewInfo(
    const Dictionary& pageviewInfo) const {
  MutableDictionary message =
      mutableBaseMessageWithEventProperties(std::nullopt, std::nullopt, pageviewInfo, std::nullopt);
  message.append("pageview", Dictionary());
  return message;
}

MutableDictionary KovaMessageBuilder::mutableMessageForEvent(const KIEvent& event) const {
  MutableDictionary message = mutableBaseMessage(event.moment());
  message.set("id", event.eventId());
  message.append("event", eventEntry(event.kind(), Dictionary(event.mutableEventDictionary()),
                                     event.appVisibilityState()));
  return message;
}

void KovaMessageBuilder::enrichMessagesWithFirstPageview(std::vector<MutableDictionary>& messages) const {
  if (!sessionManager_.hasLoggedAnyPageviews() || messages.empty()) return;
  const std::optional<Dictionary> pageviewInfo = sessionManager_.mostRecentPageviewInfo();
  const std::optional<Dictionary> sessionInfo = sessionManager_.sessionInfo();
  for (MutableDictionary& message : messages) {
    if (pageviewInfo && !message.find("pageviewInfo")) message.set("pageviewInfo", *pageviewInfo);
    if (sessionInfo && !message.find("sessionInfo")) message.set("sessionInfo", *sessionInfo);
  }
}

bool KovaMessageBuilder::unenrichedMessagesExistInArray(const std::vector<MutableDictionary>& messages) {
  return std::any_of(messages.begin(), messages.end(), [](const MutableDictionary& message) {
    return !message.find("sessionInfo") || !message.find("pageviewInfo");
  });
}
