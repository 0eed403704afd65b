#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/runtime/Mutex.h"

namespace platform {

// Bits, with the platform's values.
using NetworkReachabilityFlags = std::uint32_t;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsTransientConnection = 1u << 0;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsReachable = 1u << 1;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsConnectionRequired = 1u << 2;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsConnectionOnTraffic = 1u << 3;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsInterventionRequired = 1u << 4;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsConnectionOnDemand = 1u << 5;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsIsLocalAddress = 1u << 16;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsIsDirect = 1u << 17;
inline constexpr NetworkReachabilityFlags kNetworkReachabilityFlagsIsWWAN = 1u << 18;

// Whether an address or a host could be reached now, as far as this device's routes tell; no packet is sent.
// Owned by whoever made it; may be used from any thread.
//
// Where flags and news of changes come from is installed by the host layer; without a source none can be
// read.
class NetworkReachability : public std::enable_shared_from_this<NetworkReachability> {
 public:
  using Flags = NetworkReachabilityFlags;
  using Callback = std::function<void(NetworkReachability&, Flags)>;
  // A socket address (IPv4 or IPv6), or a host's name.
  using Target = std::variant<sockaddr_storage, std::string>;
  // None when the flags cannot be read.
  using FlagSource = std::function<std::optional<Flags>(const Target&)>;
  // Begins to watch the device's routes and calls `changed`, on a thread of its own, after each change, until
  // the returned function has returned; that one is not called from within `changed`. None when it cannot
  // watch.
  using StopWatching = std::function<void()>;
  using ChangeSource = std::function<StopWatching(std::function<void()> changed)>;

  // Process-wide, replaceable at any time: a test may count the loopback as a network, say.
  static void installFlagSource(FlagSource source);
  static void installChangeSource(ChangeSource source);

  // No route leads anywhere. False when in doubt.
  static bool isOffline();

  // Null for an address that is neither IPv4 nor IPv6, or for an empty name.
  static std::shared_ptr<NetworkReachability> create(const sockaddr* address);
  // An IPv4 address or network as a number: 169.254.0.0 is 0xA9FE0000.
  static std::shared_ptr<NetworkReachability> createWithIPv4(std::uint32_t address);
  static std::shared_ptr<NetworkReachability> createWithName(const std::string& host);
  ~NetworkReachability();
  NetworkReachability(const NetworkReachability&) = delete;
  NetworkReachability& operator=(const NetworkReachability&) = delete;

  // Asked afresh at each call.
  std::optional<Flags> flags() const;

  // Called on the main thread after the flags have changed, while scheduled. An empty callback unsets it.
  void setCallback(Callback callback);
  // False when no change source is installed, when it cannot watch, or when scheduled already.
  bool scheduleOnMainRunLoop();
  // False when not scheduled. Once it has returned on the main thread, the callback is not called any more.
  bool unscheduleFromMainRunLoop();

 private:
  explicit NetworkReachability(Target target);
  void routesChanged();

  const Target target_;
  Mutex mutex_;
  Callback callback_ PLATFORM_GUARDED_BY(mutex_);
  StopWatching stop_ PLATFORM_GUARDED_BY(mutex_);
  std::optional<Flags> lastFlags_ PLATFORM_GUARDED_BY(mutex_);
};

}  // namespace platform
