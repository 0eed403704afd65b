#include "src/storage/KovaReachability.h"

#include "platform/foundation/NSNotificationCenter.h"

using namespace platform;

namespace {

// IPv4 addresses.
constexpr std::uint32_t kInternet = 0x00000000;          // the zero address stands for all of it
constexpr std::uint32_t kLinkLocalNetwork = 0xA9FE0000;  // 169.254.0.0

bool contains(NetworkReachabilityFlags flags, NetworkReachabilityFlags flag) { return (flags & flag) != 0; }

// What the platform calls at each change, with the reachability object as context.
void ReachabilityCallback(const std::weak_ptr<NSObject>& context) {
  const auto reachability = context.lock();
  if (!reachability) return;
  NSNotificationCenter::defaultCenter().post(kNetworkReachabilityChangedNotification, reachability);
}

}  // namespace

std::shared_ptr<KovaReachability> KovaReachability::wrapping(std::shared_ptr<NetworkReachability> handle) {
  if (!handle) return nullptr;
  auto reachability = std::make_shared<KovaReachability>();
  reachability->reachabilityRef_ = std::move(handle);
  return reachability;
}

std::shared_ptr<KovaReachability> KovaReachability::reachabilityWithHostName(const std::string& hostName) {
  return wrapping(NetworkReachability::createWithName(hostName));
}

std::shared_ptr<KovaReachability> KovaReachability::reachabilityWithAddress(const sockaddr& address) {
  return wrapping(NetworkReachability::create(&address));
}

std::shared_ptr<KovaReachability> KovaReachability::reachabilityForInternetConnection() {
  return wrapping(NetworkReachability::createWithIPv4(kInternet));
}

std::shared_ptr<KovaReachability> KovaReachability::reachabilityForLocalWiFi() {
  auto reachability = wrapping(NetworkReachability::createWithIPv4(kLinkLocalNetwork));
  if (reachability) reachability->localWiFiRef_ = true;
  return reachability;
}

KovaReachability::~KovaReachability() { stopNotifier(); }

bool KovaReachability::startNotifier() {
  reachabilityRef_->setCallback([context = weak_from_this()](NetworkReachability&, NetworkReachabilityFlags) {
    ReachabilityCallback(context);
  });
  return reachabilityRef_->scheduleOnMainRunLoop();
}

void KovaReachability::stopNotifier() {
  if (reachabilityRef_) reachabilityRef_->unscheduleFromMainRunLoop();
}

int KovaReachability::currentReachabilityStatus() const {
  const auto flags = reachabilityRef_->flags();
  if (!flags) return kNotReachable;
  return localWiFiRef_ ? localWiFiStatusForFlags(*flags) : networkStatusForFlags(*flags);
}

bool KovaReachability::connectionRequired() const {
  const auto flags = reachabilityRef_->flags();
  return flags && contains(*flags, kNetworkReachabilityFlagsConnectionRequired);
}

int KovaReachability::localWiFiStatusForFlags(NetworkReachabilityFlags flags) {
  const bool isDirect = contains(flags, kNetworkReachabilityFlagsReachable) &&
                        contains(flags, kNetworkReachabilityFlagsIsDirect);
  return isDirect ? kReachable : kNotReachable;
}

int KovaReachability::networkStatusForFlags(NetworkReachabilityFlags flags) {
  if (!contains(flags, kNetworkReachabilityFlagsReachable)) return kNotReachable;
  if (!contains(flags, kNetworkReachabilityFlagsConnectionRequired)) return kReachable;
  const bool connectsByItself = contains(flags, kNetworkReachabilityFlagsConnectionOnTraffic) ||
                                contains(flags, kNetworkReachabilityFlagsConnectionOnDemand);
  if (connectsByItself && !contains(flags, kNetworkReachabilityFlagsInterventionRequired)) return kReachable;
  return contains(flags, kNetworkReachabilityFlagsIsWWAN) ? kReachable : kNotReachable;
}
