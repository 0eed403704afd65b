// Identity, user properties and event properties.

#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/URLEncoding.h"
#include "src/core/tracker/KovaTracker+Calls.h"
#include "src/events/KovaRequestBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

void KovaTracker::identify(const std::optional<Value>& identity) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Identity");
  extendSession();
  if (!identity || !identity->isString()) {
    KovaLog(
        "The `identify:(NSDictionary *)properties` method has been removed. Please use `identify:(NSString *)identity` and `addUserProperties:(NSDictionary *)properties`");
    return;
  }
  performNotedOnMutationQueue("identify:", note(Call::Identify, *identity),
                              [identity = identity->string()](KovaTracker& tracker)
                                  KOVA_ON_MUTATION_QUEUE { tracker.identifyOnMutationQueue(identity); });
}

void KovaTracker::identifyOnMutationQueue(const String& identity) {
  if (identity.empty()) return;
  const std::string encoded = kova::urlEncode(Value(identity));
  const bool isSomebodyElse = identityManager_->hasIdentityDifferentFromUrlEncodedIdentity(encoded);
  persistentStore_->changeInOneStep([&] {
    kova::mutationQueue.isHere();
    if (isSomebodyElse) beginWithNewUser();
    if (!identityManager_->isAnonymous()) return;
    identityManager_->setUrlEncodedIdentity(encoded, false);
    queueManager_->enqueueUrlString(requestBuilder_->identitySetUrlStringWithNewEncodedIdentity(encoded));
  });
  KovaLogDebug("Identified user with identity: %@", identity);
  if (!isSomebodyElse) return;
  KovaLogDebug("Identified user with identity: %@", identity);  // once for the reset, once for the name
  recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(nullptr);
}

bool KovaTracker::beginWithNewUser() {
  if (!identityManager_->resetIdentity()) return false;
  sessionManager_->resetSessionWithNewUser(true);
  return true;
}

void KovaTracker::resetIdentity(Completion completion) {
  performNotedOnMutationQueue(
      "resetIdentity:", note(Call::ResetIdentity),
      [completion = std::move(completion)](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
        if (tracker.beginWithNewUser()) {
          tracker.recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(
              completion);
        } else if (completion) {
          completion();
        }
      });
}

void KovaTracker::addUserProperties(const std::optional<Value>& properties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Add User Properties");
  Dictionary sanitized = KovaInputTransformer::serializablePropertyDictionaryForProperties(properties);
  if (sanitized.empty()) return;
  const auto call = note(Call::AddUserProperties, sanitized);
  performNotedOnMutationQueue(
      "addUserProperties:", call,
      [sanitized = std::move(sanitized)](KovaTracker& tracker)
          KOVA_ON_MUTATION_QUEUE { tracker.addUserPropertiesOnMutationQueue(sanitized); });
}

void KovaTracker::addUserPropertiesOnMutationQueue(const Dictionary& sanitized) {
  queueManager_->enqueueUrlString(
      requestBuilder_->addUserPropertiesUrlStringWithSanitizedUserProperties(sanitized));
  KovaLogDebug("Added user properties: %@", sanitized);
}

void KovaTracker::addEventProperties(const std::optional<Value>& properties) {
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Add Event Properties");
  Dictionary sanitized = KovaInputTransformer::serializablePropertyDictionaryForProperties(properties);
  if (sanitized.empty()) return;
  const auto call = note(Call::AddEventProperties, sanitized);
  performNotedOnMutationQueue("addEventProperties:", call,
                              [sanitized = std::move(sanitized)](KovaTracker& tracker)
                                  KOVA_ON_MUTATION_QUEUE {
                                    tracker.identityManager_->addSanitizedEventProperties(sanitized);
                                    tracker.logEventPropertiesFromSelector("addEventProperties:");
                                  });
}

void KovaTracker::removeEventProperty(std::string_view name) {
  performNotedOnMutationQueue("removeEventProperty:", note(Call::RemoveEventProperty, name),
                              [name = std::string(name)](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
                                tracker.identityManager_->removeEventProperty(name);
                                tracker.logEventPropertiesFromSelector("removeEventProperty:");
                              });
}

void KovaTracker::clearEventProperties() {
  performNotedOnMutationQueue("clearEventProperties", note(Call::ClearEventProperties),
                              [](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE {
                                tracker.identityManager_->resetEventProperties();
                                tracker.logEventPropertiesFromSelector("clearEventProperties");
                              });
}

void KovaTracker::logEventPropertiesFromSelector(const char* fromSelector) const {
  KovaLogDebug("Called +[Kova %@]. Event properties are now: %@", fromSelector,
               identityManager_->eventProperties());
}
