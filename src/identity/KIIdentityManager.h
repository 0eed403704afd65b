#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/runtime/Mutex.h"
#include "src/core/Threads.h"

class KovaPersistentStore;

// Who the current user is: a numeric id made up for every anonymous user, the identity that the host may
// attach to it, and the event properties that are added to every event. All three are kept in the store.
//
// An anonymous user who is identified keeps the id; resetting an identified user makes a new anonymous one.
//
// Owned by the tracker. userId, urlEncodedIdentity and what is derived from them may be read from any thread;
// the lock covers those fields alone, never a write to the store.
class KIIdentityManager {
 public:
  // The user whom the processes of the app share and a start goes on with, or the one that an earlier process
  // in the store's place went on with. What is changed from then on is changed for all processes that start
  // later; those that run keep theirs.
  enum class Origin { App, Place };
  // Loads what is stored, if it can be read.
  explicit KIIdentityManager(std::shared_ptr<KovaPersistentStore> persistentStore,
                             Origin origin = Origin::App);

  // The manager of the store's environment id: the one that an earlier tracker still holds, for which its
  // user is no longer a brand-new one, else a new one.
  static std::shared_ptr<KIIdentityManager> forStore(std::shared_ptr<KovaPersistentStore> persistentStore)
      KOVA_ON_MAIN_THREAD;

  // Takes up what is stored; without a stored user id, derives one from the stored identity or makes one up.
  // False while the store cannot be read: then there is no user, and its id is empty, until assumeUser().
  bool load() KOVA_ON_MUTATION_QUEUE;
  // The stored user and event properties, while the store has no place in which load() could take them up.
  // False when it cannot be told whether there are any.
  bool loadUserAlone() KOVA_ON_MUTATION_QUEUE;
  // Makes up a user, unless there is one already. As long as load() has not succeeded nothing is stored; when
  // it does, the stored user takes the place of the one made up, unless that one has been identified under
  // another name meanwhile, or reset while the stored one has a name. Event properties that were changed
  // meanwhile are changed in the stored ones.
  void assumeUser() KOVA_ON_MUTATION_QUEUE;

  static void removeFromPersistentStore(KovaPersistentStore& store) KOVA_ON_MUTATION_QUEUE;

  bool isAnonymous() const;
  // A brand-new anonymous user: the id was made up by this process.
  bool isFreshStart() const;

  std::string userId() const;
  void setUserId(std::string userId) KOVA_ON_MUTATION_QUEUE;
  // None for an anonymous user.
  std::optional<std::string> urlEncodedIdentity() const;
  void setUrlEncodedIdentity(std::optional<std::string> identity) KOVA_ON_MUTATION_QUEUE;
  void setUrlEncodedIdentity(const std::optional<std::string>& identity,
                             bool recomputingUserId) KOVA_ON_MUTATION_QUEUE;
  void recomputeUserIdFromUrlEncodedIdentity(std::string_view identity) KOVA_ON_MUTATION_QUEUE;
  void generateUserId() KOVA_ON_MUTATION_QUEUE;
  // False for an anonymous user.
  bool hasIdentityDifferentFromUrlEncodedIdentity(std::string_view identity) const;

  // False, changing nothing, when the user is anonymous already: before load(), unless the stored one turns
  // out to have a name. Event properties stay.
  bool resetIdentity() KOVA_ON_MUTATION_QUEUE;

  // "id", and "identity" in plain text when there is one.
  platform::Dictionary userInfo() const;
  // "&u=…", and "&i=…" when there is an identity.
  std::string ampersandPrefixedUserInfoQueryParameters() const;

  // Sanitised by the caller.
  const platform::Dictionary& eventProperties() const KOVA_ON_MUTATION_QUEUE { return eventProperties_; }
  void setEventProperties(std::optional<platform::Dictionary> properties) KOVA_ON_MUTATION_QUEUE;
  void addSanitizedEventProperties(const platform::Dictionary& properties) KOVA_ON_MUTATION_QUEUE;
  void removeEventProperty(std::string_view name) KOVA_ON_MUTATION_QUEUE;
  void resetEventProperties() KOVA_ON_MUTATION_QUEUE;

 private:
  void refreshUserInfo() PLATFORM_REQUIRES(propertyLock_);

  using PropertiesChange = std::function<void(platform::MutableDictionary&)>;
  void changeEventProperties(const PropertiesChange& change) KOVA_ON_MUTATION_QUEUE;
  void takeUp(std::optional<std::string> identity,
              const std::optional<std::string>& userId) KOVA_ON_MUTATION_QUEUE;
  void agreeOnUserId() KOVA_ON_MUTATION_QUEUE;
  // None removes it.
  void store(const std::optional<std::string>& text, std::string_view key) KOVA_ON_MUTATION_QUEUE;
  void storeUser() KOVA_ON_MUTATION_QUEUE;
  void storeIdentity() KOVA_ON_MUTATION_QUEUE;
  // For the next process in this place.
  void storeCopies() KOVA_ON_MUTATION_QUEUE;

  const Origin origin_;
  bool isLoaded_ KOVA_OF_MUTATION_QUEUE = false;
  // False for the user of a place when the processes of the app share another one by now: what was still to
  // be done there is older than that.
  bool mayChangeShared_ KOVA_OF_MUTATION_QUEUE = true;
  // Before it was loaded: identified, or reset from a name; reset at all, which whoever is stored may have a
  // name for; and changes of event properties, in order.
  bool hasChangedUnloaded_ KOVA_OF_MUTATION_QUEUE = false;
  bool wasResetUnloaded_ KOVA_OF_MUTATION_QUEUE = false;
  std::vector<PropertiesChange> changesUnloaded_ KOVA_OF_MUTATION_QUEUE;
  std::atomic<bool> didGenerateUserId_ = false;
  mutable platform::Mutex propertyLock_;
  std::optional<std::string> urlEncodedIdentity_ PLATFORM_GUARDED_BY(propertyLock_);
  std::string userId_ PLATFORM_GUARDED_BY(propertyLock_);
  // Made when id or identity change, because every message carries it.
  platform::Dictionary userInfo_ PLATFORM_GUARDED_BY(propertyLock_);
  platform::Dictionary eventProperties_ KOVA_OF_MUTATION_QUEUE;
  const std::shared_ptr<KovaPersistentStore> persistentStore_;
};
