#include "src/identity/KIIdentityManager.h"

#include <Kova/KovaConstants.h>

#include "src/core/Ids.h"
#include "src/core/URLEncoding.h"
#include "src/identity/KIIdUtil.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

KIIdentityManager::KIIdentityManager(std::shared_ptr<KovaPersistentStore> persistentStore, Origin origin)
    : origin_(origin), persistentStore_(std::move(persistentStore)) {
  load();
}

bool KIIdentityManager::load() {
  if (isLoaded_) return true;
  const KovaPersistentStore& store = *persistentStore_;
  const bool isOfPlace =
      origin_ == Origin::Place && store.stringForKey(KovaPersistentPropertyKeyUserId).has_value();
  const auto textForKey = [&](std::string_view key) KOVA_ON_MUTATION_QUEUE {
    return isOfPlace ? store.stringForKey(key) : store.sharedStringForKey(key);
  };
  const auto identity = textForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  const auto userId = textForKey(KovaPersistentPropertyKeyUserId);
  const auto properties = isOfPlace ? store.dictionaryForKey(KovaPersistentPropertyKeyEventProperties)
                                    : store.sharedDictionaryForKey(KovaPersistentPropertyKeyEventProperties);
  if (identity.isUnreadable() || userId.isUnreadable() || properties.isUnreadable()) return false;
  isLoaded_ = true;

  const bool isStoredPerson = identity && urlEncodedIdentity() == identity.value();
  if (hasChangedUnloaded_ && !isStoredPerson) {
    persistentStore_->changeInOneStep([this] {
      kova::mutationQueue.isHere();
      storeIdentity();
      storeUser();
    });
  } else if (userId || identity || this->userId().empty()) {
    didGenerateUserId_ = false;
    takeUp(identity, userId);
  } else {
    storeUser();
  }

  eventProperties_ = properties.value_or(Dictionary());
  for (const PropertiesChange& change : std::exchange(changesUnloaded_, {})) changeEventProperties(change);
  if (!store.place().isFirst() && origin_ == Origin::App) storeCopies();
  return true;
}

void KIIdentityManager::storeCopies() {
  persistentStore_->changeInOneStep([this] {
    kova::mutationQueue.isHere();
    persistentStore_->setObject(Value(userId()), KovaPersistentPropertyKeyUserId);
    persistentStore_->setObject(eventProperties_, KovaPersistentPropertyKeyEventProperties);
    if (const auto identity = urlEncodedIdentity()) {
      persistentStore_->setObject(Value(*identity), KovaPersistentPropertyKeyUrlEncodedIdentity);
    } else {
      persistentStore_->removeObjectForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
    }
  });
}

void KIIdentityManager::takeUp(std::optional<std::string> identity,
                               const std::optional<std::string>& userId) {
  {
    const MutexLock lock(propertyLock_);
    urlEncodedIdentity_ = identity;
    userId_ = userId.value_or("");
    refreshUserInfo();
  }
  if (!userId && identity) recomputeUserIdFromUrlEncodedIdentity(*identity);
  if (!userId && !identity) agreeOnUserId();
}

void KIIdentityManager::assumeUser() {
  if (userId().empty()) generateUserId();
}

void KIIdentityManager::storeUser() {
  if (isLoaded_) persistentStore_->setSharedObject(Value(userId()), KovaPersistentPropertyKeyUserId);
}

void KIIdentityManager::storeIdentity() {
  if (!isLoaded_) return;
  if (const auto identity = urlEncodedIdentity()) {
    persistentStore_->setSharedObject(Value(*identity), KovaPersistentPropertyKeyUrlEncodedIdentity);
  } else {
    persistentStore_->removeSharedObjectForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  }
}

std::shared_ptr<KIIdentityManager> KIIdentityManager::forStore(
    std::shared_ptr<KovaPersistentStore> persistentStore) {
  bool isKnown = true;
  auto manager = kova::oneAnEnvironment<KIIdentityManager>(persistentStore->appId(), [&] {
    isKnown = false;
    return std::make_shared<KIIdentityManager>(persistentStore);
  });
  if (isKnown) manager->didGenerateUserId_ = false;
  return manager;
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
    userId_ = std::move(userId);
    refreshUserInfo();
  }
  storeUser();
}

std::optional<std::string> KIIdentityManager::urlEncodedIdentity() const {
  const MutexLock lock(propertyLock_);
  return urlEncodedIdentity_;
}

void KIIdentityManager::setUrlEncodedIdentity(std::optional<std::string> identity) {
  {
    const MutexLock lock(propertyLock_);
    urlEncodedIdentity_ = std::move(identity);
    refreshUserInfo();
  }
  hasChangedUnloaded_ = !isLoaded_;
  storeIdentity();
}

void KIIdentityManager::setUrlEncodedIdentity(const std::optional<std::string>& identity,
                                              bool recomputingUserId) {
  setUrlEncodedIdentity(identity);
  if (recomputingUserId) recomputeUserIdFromUrlEncodedIdentity(identity.value_or(""));
}

void KIIdentityManager::recomputeUserIdFromUrlEncodedIdentity(std::string_view identity) {
  setUserId(std::to_string(KIIdUtil::computeUserId(identity)));
}

void KIIdentityManager::generateUserId() {
  didGenerateUserId_ = true;
  setUserId(kova::randomId());
}

// Two processes of an app may start on a device that knows nobody yet.
void KIIdentityManager::agreeOnUserId() {
  const std::string madeUp = kova::randomId();
  const auto agreed = persistentStore_->setSharedTextIfAbsent(madeUp, KovaPersistentPropertyKeyUserId);
  if (!agreed) return generateUserId();
  didGenerateUserId_ = *agreed == madeUp;
  const MutexLock lock(propertyLock_);
  userId_ = *agreed;
  refreshUserInfo();
}

bool KIIdentityManager::hasIdentityDifferentFromUrlEncodedIdentity(std::string_view identity) const {
  const auto current = urlEncodedIdentity();
  return current && *current != identity;
}

bool KIIdentityManager::resetIdentity() {
  hasChangedUnloaded_ = !isLoaded_;  // whoever is stored may have a name
  if (isAnonymous()) return false;
  persistentStore_->changeInOneStep([this] {
    kova::mutationQueue.isHere();
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
  if (urlEncodedIdentity_) info.set("identity", kova::urlDecode(*urlEncodedIdentity_));
  userInfo_ = Dictionary(std::move(info));
}

std::string KIIdentityManager::ampersandPrefixedUserInfoQueryParameters() const {
  const MutexLock lock(propertyLock_);
  std::string parameters = "&u=" + userId_;
  if (urlEncodedIdentity_) parameters += "&i=" + *urlEncodedIdentity_;
  return parameters;
}

void KIIdentityManager::setEventProperties(std::optional<Dictionary> properties) {
  changeEventProperties([properties = std::move(properties).value_or(Dictionary())](
                            MutableDictionary& changed) { changed = MutableDictionary(properties); });
}

void KIIdentityManager::addSanitizedEventProperties(const Dictionary& properties) {
  changeEventProperties([properties](MutableDictionary& changed) { changed.merge(properties); });
}

void KIIdentityManager::removeEventProperty(std::string_view name) {
  changeEventProperties([name = std::string(name)](MutableDictionary& changed) { changed.remove(name); });
}

void KIIdentityManager::resetEventProperties() { setEventProperties(std::nullopt); }

void KIIdentityManager::changeEventProperties(const PropertiesChange& change) {
  MutableDictionary changed(eventProperties_);
  change(changed);
  eventProperties_ = Dictionary(std::move(changed));
  if (!isLoaded_) return changesUnloaded_.push_back(change);
  const Dictionary& own = eventProperties_;
  if (!persistentStore_->place().mayHaveOthers()) {
    persistentStore_->setSharedObject(own, KovaPersistentPropertyKeyEventProperties);
    return;
  }
  const auto stored = persistentStore_->sharedDictionaryForKey(KovaPersistentPropertyKeyEventProperties);
  MutableDictionary shared(stored ? *stored : Dictionary());
  change(shared);
  persistentStore_->setSharedObject(stored.isUnreadable() ? own : Dictionary(std::move(shared)),
                                    KovaPersistentPropertyKeyEventProperties);
  if (!persistentStore_->place().isFirst())
    persistentStore_->setObject(own, KovaPersistentPropertyKeyEventProperties);
}
