#include "src/identity/KIIdentityManager.h"

#include <Kova/KovaConstants.h>

#include "platform/foundation/Reading.h"
#include "src/core/Ids.h"
#include "src/core/URLEncoding.h"
#include "src/identity/KIIdUtil.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "src/storage/store/OneAnEnvironment.h"

using namespace platform;

namespace {

bool areEqual(const Value* one, const Value* other) { return one && other ? *one == *other : one == other; }

// The change from `before` to `after`, but for entries that another process has changed meanwhile.
void changeWhatIsAsBefore(MutableDictionary& shared, const Dictionary& before, const Dictionary& after) {
  for (const auto& [key, value] : before) {
    const bool isRemoved = !after.find(key.text());
    if (isRemoved && areEqual(shared.find(key.text()), &value)) shared.remove(key.text());
  }
  for (const auto& [key, value] : after) {
    const Value* old = before.find(key.text());
    if (!areEqual(old, &value) && areEqual(shared.find(key.text()), old)) shared.set(key.text(), value);
  }
}

struct StoredUser {
  std::optional<std::string> identity;
  std::optional<std::string> userId;
  Dictionary eventProperties;
};

// The user of the store's place, or that of all processes. None when it cannot be told who that is.
std::optional<StoredUser> storedUserIn(const KovaPersistentStore& store,
                                       bool isOfPlace) KOVA_ON_MUTATION_QUEUE {
  const auto textForKey = [&](std::string_view key) KOVA_ON_MUTATION_QUEUE {
    return isOfPlace ? store.stringForKey(key) : store.sharedStringForKey(key);
  };
  const auto userId = textForKey(KovaPersistentPropertyKeyUserId);
  const auto identity = textForKey(KovaPersistentPropertyKeyUrlEncodedIdentity);
  const auto properties = isOfPlace ? store.dictionaryForKey(KovaPersistentPropertyKeyEventProperties)
                                    : store.sharedDictionaryForKey(KovaPersistentPropertyKeyEventProperties);
  if (identity.isUnreadable() || userId.isUnreadable() || properties.isUnreadable()) return std::nullopt;
  // Another process has changed the user between two of these: nobody is to have the other one's name.
  const std::string userIdNow = textForKey(KovaPersistentPropertyKeyUserId).value_or("");
  if (userIdNow != userId.value_or("")) return storedUserIn(store, isOfPlace);
  return StoredUser{identity, userId, properties.value_or(Dictionary())};
}

}  // namespace

KIIdentityManager::KIIdentityManager(std::shared_ptr<KovaPersistentStore> persistentStore, Origin origin)
    : origin_(origin), persistentStore_(std::move(persistentStore)) {
  load();
}

bool KIIdentityManager::load() {
  if (isLoaded_) return true;
  const KovaPersistentStore& store = *persistentStore_;
  if (!store.hasPlace() || store.isHeldBack()) return false;
  const auto userOfPlace =
      origin_ == Origin::Place ? store.stringForKey(KovaPersistentPropertyKeyUserId) : Reading<std::string>();
  if (userOfPlace.isUnreadable()) return false;
  const bool isOfPlace = userOfPlace.has_value();
  const auto stored = storedUserIn(store, isOfPlace);
  if (!stored) return false;
  const auto& identity = stored->identity;
  const auto& userId = stored->userId;
  isLoaded_ = true;
  const auto shared = isOfPlace ? storedUserIn(store, false) : stored;
  mayChangeShared_ = shared && shared->identity == identity && shared->userId == userId;

  const bool isStoredPerson = identity && urlEncodedIdentity() == identity.value();
  const bool isChanged = hasChangedUnloaded_ || (wasResetUnloaded_ && identity);
  if (isChanged && !isStoredPerson) {
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

  eventProperties_ = stored->eventProperties;
  for (const PropertiesChange& change : std::exchange(changesUnloaded_, {})) changeEventProperties(change);
  if (!store.place().isFirst() && origin_ == Origin::App) storeCopies();
  return true;
}

bool KIIdentityManager::loadUserAlone() {
  if (isLoaded_ || !userId().empty()) return true;
  const auto stored = storedUserIn(*persistentStore_, false);
  if (!stored) return false;
  if (stored->userId || stored->identity) takeUp(stored->identity, stored->userId);
  eventProperties_ = stored->eventProperties;
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

void KIIdentityManager::store(const std::optional<std::string>& text, std::string_view key) {
  if (!isLoaded_) return;
  KovaPersistentStore& store = *persistentStore_;
  if (mayChangeShared_) {
    text ? void(store.setSharedObject(Value(*text), key)) : store.removeSharedObjectForKey(key);
  } else {
    text ? void(store.setObject(Value(*text), key)) : store.removeObjectForKey(key);
  }
}

void KIIdentityManager::storeUser() { store(userId(), KovaPersistentPropertyKeyUserId); }

void KIIdentityManager::storeIdentity() {
  store(urlEncodedIdentity(), KovaPersistentPropertyKeyUrlEncodedIdentity);
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
  wasResetUnloaded_ = !isLoaded_;
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
  const Dictionary before = eventProperties_;
  MutableDictionary changed(before);
  change(changed);
  eventProperties_ = Dictionary(std::move(changed));
  if (!isLoaded_) return changesUnloaded_.push_back(change);
  const auto revise = [change, before, own = eventProperties_,
                       isLate = origin_ == Origin::Place](const std::optional<Dictionary>& stored) {
    if (!stored) return own;
    MutableDictionary shared(*stored);
    isLate ? changeWhatIsAsBefore(shared, before, own) : change(shared);
    return Dictionary(std::move(shared));
  };
  persistentStore_->changeInOneStep([&] {
    kova::mutationQueue.isHere();
    if (!persistentStore_->place().isFirst())
      persistentStore_->setObject(eventProperties_, KovaPersistentPropertyKeyEventProperties);
    persistentStore_->reviseSharedDictionary(KovaPersistentPropertyKeyEventProperties, revise);
  });
}
