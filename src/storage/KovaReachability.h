#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/net/NetworkReachability.h"
#include "platform/runtime/NSObject.h"

struct sockaddr;

// Posted, with the KovaReachability as object, when the reachability of its address changed.
inline constexpr std::string_view kNetworkReachabilityChangedNotification =
    "kNetworkReachabilityChangedNotification";

// Answers whether the internet, a host or the local Wi-Fi can be reached at this moment, as far as the
// device's routes tell; nothing is sent. Owned by whoever asks; status questions may be asked from any
// thread, the notifier belongs to the main thread.
class KovaReachability : public platform::NSObject {
  NS_OBJECT(KovaReachability, NSObject)

 public:
  static constexpr int kNotReachable = 0;
  static constexpr int kReachable = 1;

  // Each is null when the platform cannot make a handle for the name or address.
  static std::shared_ptr<KovaReachability> reachabilityWithHostName(const std::string& hostName);
  static std::shared_ptr<KovaReachability> reachabilityWithAddress(const sockaddr& address);
  static std::shared_ptr<KovaReachability> reachabilityForInternetConnection();
  static std::shared_ptr<KovaReachability> reachabilityForLocalWiFi();

  ~KovaReachability() override;

  // Posts the notification above on the main run loop at each change, until stopped. False when it cannot
  // watch.
  bool startNotifier();
  void stopNotifier();

  int currentReachabilityStatus() const;
  bool connectionRequired() const;

  static int localWiFiStatusForFlags(platform::NetworkReachabilityFlags flags);
  static int networkStatusForFlags(platform::NetworkReachabilityFlags flags);

 private:
  static std::shared_ptr<KovaReachability> wrapping(std::shared_ptr<platform::NetworkReachability> handle);

  bool localWiFiRef_ = false;
  std::shared_ptr<platform::NetworkReachability> reachabilityRef_;
};
