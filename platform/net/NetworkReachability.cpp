#include "platform/net/NetworkReachability.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <atomic>
#include <cstring>
#include <utility>

#include "platform/dispatch/Scheduler.h"

namespace platform {
namespace {

struct Sources {
  Mutex mutex;
  std::shared_ptr<const NetworkReachability::FlagSource> flags PLATFORM_GUARDED_BY(mutex);
  std::shared_ptr<const NetworkReachability::ChangeSource> changes PLATFORM_GUARDED_BY(mutex);
};

Sources& sources() {
  static Sources& installed = *new Sources;
  return installed;
}

}  // namespace

void NetworkReachability::installFlagSource(FlagSource source) {
  auto installed = source ? std::make_shared<const FlagSource>(std::move(source)) : nullptr;
  MutexLock lock(sources().mutex);
  sources().flags = std::move(installed);
}

void NetworkReachability::installChangeSource(ChangeSource source) {
  auto installed = source ? std::make_shared<const ChangeSource>(std::move(source)) : nullptr;
  MutexLock lock(sources().mutex);
  sources().changes = std::move(installed);
}

bool NetworkReachability::isOffline() {
  const std::optional<Flags> flags = createWithIPv4(INADDR_ANY)->flags();
  return flags && (*flags & kNetworkReachabilityFlagsReachable) == 0;
}

std::shared_ptr<NetworkReachability> NetworkReachability::create(const sockaddr* address) {
  if (!address) return nullptr;
  std::size_t length = 0;
  if (address->sa_family == AF_INET) length = sizeof(sockaddr_in);
  if (address->sa_family == AF_INET6) length = sizeof(sockaddr_in6);
  if (length == 0) return nullptr;
  sockaddr_storage storage{};
  std::memcpy(&storage, address, length);
  return std::shared_ptr<NetworkReachability>(new NetworkReachability(storage));
}

std::shared_ptr<NetworkReachability> NetworkReachability::createWithIPv4(std::uint32_t address) {
  sockaddr_in socketAddress{};
  socketAddress.sin_family = AF_INET;
  socketAddress.sin_addr.s_addr = htonl(address);
  return create(reinterpret_cast<const sockaddr*>(&socketAddress));
}

std::shared_ptr<NetworkReachability> NetworkReachability::createWithName(const std::string& host) {
  if (host.empty()) return nullptr;
  return std::shared_ptr<NetworkReachability>(new NetworkReachability(host));
}

NetworkReachability::NetworkReachability(Target target) : target_(std::move(target)) {}

NetworkReachability::~NetworkReachability() { unscheduleFromMainRunLoop(); }

std::optional<NetworkReachability::Flags> NetworkReachability::flags() const {
  std::shared_ptr<const FlagSource> source;
  {
    MutexLock lock(sources().mutex);
    source = sources().flags;
  }
  if (!source) return std::nullopt;
  return (*source)(target_);
}

void NetworkReachability::setCallback(Callback callback) {
  MutexLock lock(mutex_);
  callback_ = std::move(callback);
}

bool NetworkReachability::scheduleOnMainRunLoop() {
  std::shared_ptr<const ChangeSource> source;
  {
    MutexLock lock(sources().mutex);
    source = sources().changes;
  }
  if (!source) return false;
  const std::optional<Flags> before = flags();

  // One wake-up of the main loop at a time, however fast routes change.
  auto pending = std::make_shared<std::atomic<bool>>(false);
  StopWatching stop = (*source)([weak = weak_from_this(), pending] {
    if (pending->exchange(true)) return;
    Scheduler::current().mainRunLoop().perform([weak, pending] {
      pending->store(false);
      if (const auto self = weak.lock()) self->routesChanged();
    });
  });
  if (!stop) return false;
  {
    MutexLock lock(mutex_);
    if (!stop_) {
      stop_ = std::move(stop);
      lastFlags_ = before;
      return true;
    }
  }
  stop();
  return false;
}

bool NetworkReachability::unscheduleFromMainRunLoop() {
  StopWatching stop;
  {
    MutexLock lock(mutex_);
    stop = std::exchange(stop_, nullptr);
  }
  if (!stop) return false;
  stop();
  return true;
}

void NetworkReachability::routesChanged() {
  const std::optional<Flags> now = flags();
  if (!now) return;
  Callback callback;
  {
    MutexLock lock(mutex_);
    if (!stop_ || now == lastFlags_) return;
    lastFlags_ = now;
    callback = callback_;
  }
  if (callback) callback(*this, *now);
}

}  // namespace platform
