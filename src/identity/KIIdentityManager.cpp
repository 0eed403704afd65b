#include "src/identity/KIIdentityManager.h"

#include <Kova/KovaConstants.h>

#include "src/events/KovaUtil.h"
#include "src/identity/KIIdUtil.h"
#include "src/storage/KovaPersistentStore.h"

using namespace platform;

KIIdentityManager::KIIdentityManager(std::shared_ptr<KovaPersistentStore> persistentStore)
    : persistentStore_(std::move(persistentStore)) {
  const auto identity = persistentStore_->stringForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  const auto userId = persistentStore_->stringForKey(KovaPersistentPropertyKeyUserId);
  eventProperties_ =
      persistentStore_->dictionaryForKey(KovaPersistentPropertyKeyEventProperties).value_or(Dictionary());
  {
    const MutexLock lock(propertyLock_);
    urlEncodedIdentity_ = identity;
    userId_ = userId.value_or("");
    refreshUserInfo();
  }
  if (!userId && identity) recomputeUserIdFromUrlEncodedIdentity(*identity);
  if (!userId && !identity) generateUserId();
}

void KIIdentityManager::removeFromPersistentStore(KovaPersistentStore& store) {
  store.removeObjectForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  store.removeObjectForKey(KovaPersistentPropertyKeyUserId);
  store.removeObjectForKey(KovaPersistentPropertyKeyEventProperties);
}

bool KIIdentityManager::isAnonymous() const { return !urlEncodedIdentity(); }

bool KIIdentityManager::isFreshStart() const { return isAnonymous() && didGenerateUserId_; }

std::string KIIdentityManager::userId() const {
  const MutexLock lock(propertyLock_);
  return userId_;
}

void KIIdentityManager::setUserId(std::string userId) {
  {
    const MutexLock lock(propertyLock_);
    userId_ = userId;
    refreshUserInfo();
  }
  persistentStore_->setObject(Value(userId), KovaPersistentPropertyKeyUserId);
}

std::optional<std::string> KIIdentityManager::urlEncodedIdentity() const {
  const MutexLock lock(propertyLock_);
  return urlEncodedIdentity_;
}

void KIIdentityManager::setUrlEncodedIdentity(std::optional<std::string> identity) {
  {
    const MutexLock lock(propertyLock_);
    urlEncodedIdentity_ = identity;
    refreshUserInfo();
  }
  if (identity) {
    persistentStore_->setObject(Value(*identity), KovaPersistentPropertyKeyUrlEncodedIdentity);
  } else {
    persistentStore_->removeObjectForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  }
}

void KIIdentityManager::setUrlEncodedIdentity(std::optional<std::string> identity, bool recomputingUserId) {
  setUrlEncodedIdentity(identity);
  if (recomputingUserId) recomputeUserIdFromUrlEncodedIdentity(identity.value_or(""));
}

void KIIdentityManager::recomputeUserIdFromUrlEncodedIdentity(std::string_view identity) {
  setUserId(std::to_string(KIIdUtil::computeUserId(identity)));
}

void KIIdentityManager::generateUserId() {
  didGenerateUserId_ = true;
  setUserId(KovaUtil::randomId());
}

bool KIIdentityManager::hasIdentityDifferentFromUrlEncodedIdentity(std::string_view identity) const {
  const auto current = urlEncodedIdentity();
  return current && *current != identity;
}

bool KIIdentityManager::resetIdentity() {
  if (isAnonymous()) return false;
  persistentStore_->changeInOneStep([this] {
    setUrlEncodedIdentity(std::nullopt);
    generateUserId();
  });
  return true;
}

Dictionary KIIdentityManager::userInfo() const {
  const MutexLock lock(propertyLock_);
  return userInfo_;
}

void KIIdentityManager::refreshUserInfo() {
  MutableDictionary info{{"id", userId_}};
  if (urlEncodedIdentity_) info.set("identity", KovaUtil::urlDecode(*urlEncodedIdentity_));
  userInfo_ = Dictionary(std::move(info));
}

std::string KIIdentityManager::ampersandPrefixedUserInfoQueryParameters() const {
  const MutexLock lock(propertyLock_);
  std::string parameters = "&u=" + userId_;
  if (urlEncodedIdentity_) parameters += "&i=" + *urlEncodedIdentity_;
  return parameters;
}

void KIIdentityManager::setEventProperties(std::optional<Dictionary> properties) {
  eventProperties_ = std::move(properties).value_or(Dictionary());
  persistentStore_->setObject(eventProperties_, KovaPersistentPropertyKeyEventProperties);
}

void KIIdentityManager::addSanitizedEventProperties(const Dictionary& properties) {
  MutableDictionary merged(eventProperties_);
  merged.merge(properties);
  setEventProperties(Dictionary(std::move(merged)));
}

void KIIdentityManager::removeEventProperty(std::string_view name) {
  MutableDictionary remaining(eventProperties_);
  remaining.remove(name);
  setEventProperties(Dictionary(std::move(remaining)));
}

void KIIdentityManager::resetEventProperties() { setEventProperties(std::nullopt); }
