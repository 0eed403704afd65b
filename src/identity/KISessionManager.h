#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

// The current session: its id, its first and its latest pageview, and a number that tells the capture service
// whether the user is new and whether the session has seen a pageview. It does not time sessions;
// KISessionTimer does.
//
// Owned by the tracker. May be read from any thread, each answer by itself. The lock covers the fields alone.
class KISessionManager {
 public:
  explicit KISessionManager(bool isNewUser);

  std::string sessionId() const;
  void setSessionId(std::string sessionId) KOVA_ON_MUTATION_QUEUE;

  // The properties of the session's first pageview; none until one has been logged.
  std::optional<platform::Dictionary> sessionPixelProperties() const;
  void setSessionPixelProperties(std::optional<platform::Dictionary> properties) KOVA_ON_MUTATION_QUEUE;
  // The latest pageview of this session.
  std::optional<platform::Dictionary> mostRecentPageviewInfo() const;
  void setMostRecentPageviewInfo(std::optional<platform::Dictionary> info) KOVA_ON_MUTATION_QUEUE;
  // Whether there is one, without the lock: every call of the host asks this, and must not wait for the
  // mutation queue.
  bool hasMostRecentPageviewInfo() const { return hasMostRecentPageviewInfo_; }

  // Says late, before any pageview, that the user is new.
  void markNewUser() KOVA_ON_MUTATION_QUEUE;
  // 0: a new user without a pageview in this session; 1: a returning user without one; 2: at least one
  // pageview.
  std::int64_t zParam() const { return zParam_; }
  bool hasLoggedAnyPageviews() const { return zParam_ == 2; }

  // "id", and the "timestamp" of the first pageview; none before it.
  std::optional<platform::Dictionary> sessionInfo() const;

  // True for the first pageview of the session, whose pixel properties are then kept.
  bool loggedPageviewWithPageviewInfo(platform::Dictionary pageviewInfo,
                                      platform::Dictionary pixelProperties) KOVA_ON_MUTATION_QUEUE;

  // All of it, to be taken up again.
  struct State {
    std::string sessionId;
    std::int64_t zParam;
    std::optional<platform::Dictionary> sessionPixelProperties;
    std::optional<platform::Dictionary> mostRecentPageviewInfo;
  };
  State state() const;
  void restore(State state) KOVA_ON_MUTATION_QUEUE;
  // Called on the mutation queue after each other change.
  void setObserver(std::function<void()> changed) { changed_ = std::move(changed); }

  // Begins a new session.
  void resetSessionWithNewUser(bool isNewUser) KOVA_ON_MUTATION_QUEUE;

 private:
  void refreshSessionInfo() PLATFORM_REQUIRES(propertyLock_);

  mutable platform::Mutex propertyLock_;
  std::string sessionId_ PLATFORM_GUARDED_BY(propertyLock_);
  std::optional<platform::Dictionary> sessionPixelProperties_ PLATFORM_GUARDED_BY(propertyLock_);
  std::optional<platform::Dictionary> mostRecentPageviewInfo_ PLATFORM_GUARDED_BY(propertyLock_);
  // Made when what it consists of changes, because every message carries it.
  std::optional<platform::Dictionary> sessionInfo_ PLATFORM_GUARDED_BY(propertyLock_);
  std::atomic<bool> hasMostRecentPageviewInfo_ = false;
  std::atomic<std::int64_t> zParam_;
  std::function<void()> changed_ = [] {};
};
