// Identity, user properties and event properties.

#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"
#include "src/core/KovaUtil.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

void KovaTracker::identify(const std::optional<Value>& identity) {
  static const SEL selector("identify:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Identity");
  extendSession();
  if (!identity || !identity->isString()) {
    KovaLog(
        "The `identify:(NSDictionary *)properties` method has been removed. Please use `identify:(NSString *)identity` and `addUserProperties:(NSDictionary *)properties`");
    return;
  }
  performSafelyOnMutationQueueWithBlock(
      [identity = identity->string()](KovaTracker& tracker) { tracker.identifyOnMutationQueue(identity); },
      *this, selector);
}

void KovaTracker::identifyOnMutationQueue(const String& identity) {
  if (identity.empty()) return;
  const std::string encoded = KovaUtil::urlEncode(Value(identity));
  const bool isSomebodyElse = identityManager_->hasIdentityDifferentFromUrlEncodedIdentity(encoded);
  persistentStore_->changeInOneStep([&] {
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
  static const SEL selector("resetIdentity:");
  performSafelyOnMutationQueueWithBlock(
      [completion = std::move(completion)](KovaTracker& tracker) {
        if (tracker.beginWithNewUser()) {
          tracker.recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(
              completion);
        } else if (completion) {
          completion();
        }
      },
      *this, selector);
}

void KovaTracker::addUserProperties(const std::optional<Value>& properties) {
  static const SEL selector("addUserProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Add User Properties");
  Dictionary sanitized = KovaInputTransformer::serializablePropertyDictionaryForProperties(properties);
  if (sanitized.empty()) return;
  performSafelyOnMutationQueueWithBlock(
      [sanitized = std::move(sanitized)](KovaTracker& tracker) {
        tracker.queueManager_->enqueueUrlString(
            tracker.requestBuilder_->addUserPropertiesUrlStringWithSanitizedUserProperties(sanitized));
        KovaLogDebug("Added user properties: %@", sanitized);
      },
      *this, selector);
}

void KovaTracker::addEventProperties(const std::optional<Value>& properties) {
  static const SEL selector("addEventProperties:");
  if (!isTrackingEnabled()) return logDebugTrackingDisabled("Add Event Properties");
  Dictionary sanitized = KovaInputTransformer::serializablePropertyDictionaryForProperties(properties);
  if (sanitized.empty()) return;
  performSafelyOnMutationQueueWithBlock(
      [sanitized = std::move(sanitized)](KovaTracker& tracker) {
        tracker.identityManager_->addSanitizedEventProperties(sanitized);
        tracker.logEventPropertiesFromSelector(selector);
      },
      *this, selector);
}

void KovaTracker::removeEventProperty(std::string_view name) {
  static const SEL selector("removeEventProperty:");
  performSafelyOnMutationQueueWithBlock(
      [name = std::string(name)](KovaTracker& tracker) {
        tracker.identityManager_->removeEventProperty(name);
        tracker.logEventPropertiesFromSelector(selector);
      },
      *this, selector);
}

void KovaTracker::clearEventProperties() {
  static const SEL selector("clearEventProperties");
  performSafelyOnMutationQueueWithBlock(
      [](KovaTracker& tracker) {
        tracker.identityManager_->resetEventProperties();
        tracker.logEventPropertiesFromSelector(selector);
      },
      *this, selector);
}

void KovaTracker::logEventPropertiesFromSelector(SEL fromSelector) const {
  KovaLogDebug("Called +[Kova %@]. Event properties are now: %@", fromSelector,
               identityManager_->eventProperties());
}
