#include "src/identity/KISessionManager.h"

#include "src/core/Ids.h"

using namespace platform;

namespace {

constexpr std::int64_t kNewUser = 0;
constexpr std::int64_t kReturningUser = 1;
constexpr std::int64_t kLoggedPageview = 2;

}  // namespace

KISessionManager::KISessionManager(bool isNewUser)
    : sessionId_(kova::randomId()), zParam_(isNewUser ? kNewUser : kReturningUser) {}

void KISessionManager::markNewUser() {
  if (zParam_ == kReturningUser) zParam_ = kNewUser;
  changed_();
}

std::string KISessionManager::sessionId() const {
  const MutexLock lock(propertyLock_);
  return sessionId_;
}

KISessionManager::State KISessionManager::state() const {
  const MutexLock lock(propertyLock_);
  return {sessionId_, zParam_, sessionPixelProperties_, mostRecentPageviewInfo_};
}

void KISessionManager::restore(State state) {
  zParam_ = state.zParam;
  const MutexLock lock(propertyLock_);
  sessionId_ = std::move(state.sessionId);
  sessionPixelProperties_ = std::move(state.sessionPixelProperties);
  mostRecentPageviewInfo_ = std::move(state.mostRecentPageviewInfo);
  hasMostRecentPageviewInfo_ = mostRecentPageviewInfo_.has_value();
  refreshSessionInfo();
}

void KISessionManager::setSessionId(std::string sessionId) {
  State next = state();
  next.sessionId = std::move(sessionId);
  restore(std::move(next));
  changed_();
}

void KISessionManager::setSessionPixelProperties(std::optional<Dictionary> properties) {
  State next = state();
  next.sessionPixelProperties = std::move(properties);
  restore(std::move(next));
  changed_();
}

void KISessionManager::setMostRecentPageviewInfo(std::optional<Dictionary> info) {
  State next = state();
  next.mostRecentPageviewInfo = std::move(info);
  restore(std::move(next));
  changed_();
}

std::optional<Dictionary> KISessionManager::sessionPixelProperties() const {
  const MutexLock lock(propertyLock_);
  return sessionPixelProperties_;
}

std::optional<Dictionary> KISessionManager::mostRecentPageviewInfo() const {
  const MutexLock lock(propertyLock_);
  return mostRecentPageviewInfo_;
}

std::optional<Dictionary> KISessionManager::sessionInfo() const {
  const MutexLock lock(propertyLock_);
  return sessionInfo_;
}

void KISessionManager::refreshSessionInfo() {
  sessionInfo_ = std::nullopt;
  if (!sessionPixelProperties_) return;
  const Value* timestamp = sessionPixelProperties_->find("ts");
  sessionInfo_ = Dictionary{{"id", sessionId_}, {"timestamp", timestamp ? *timestamp : Value("")}};
}

bool KISessionManager::loggedPageviewWithPageviewInfo(Dictionary pageviewInfo, Dictionary pixelProperties) {
  zParam_ = kLoggedPageview;
  bool isFirst;
  {
    const MutexLock lock(propertyLock_);
    mostRecentPageviewInfo_ = std::move(pageviewInfo);
    hasMostRecentPageviewInfo_ = true;
    isFirst = !sessionPixelProperties_;
    if (isFirst) sessionPixelProperties_ = std::move(pixelProperties);
    refreshSessionInfo();
  }
  changed_();
  return isFirst;
}

void KISessionManager::resetSessionWithNewUser(bool isNewUser) {
  if (isNewUser) {
    zParam_ = kNewUser;
  } else if (zParam_ == kLoggedPageview) {
    zParam_ = kReturningUser;
  }
  {
    std::string sessionId = kova::randomId();
    const MutexLock lock(propertyLock_);
    sessionId_ = std::move(sessionId);
    mostRecentPageviewInfo_ = std::nullopt;
    hasMostRecentPageviewInfo_ = false;
    sessionPixelProperties_ = std::nullopt;
    refreshSessionInfo();
  }
  changed_();
}
