#include "src/storage/KovaReachability.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>

#include <array>

#include "platform/foundation/NSNotificationCenter.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;

namespace {

using Flags = NetworkReachabilityFlags;
using Target = NetworkReachability::Target;

// The flags of a device and what was asked about.
class KovaReachabilityTest : public testing::Test {
 protected:
  KovaReachabilityTest() {
    NetworkReachability::installFlagSource([this](const Target& target) {
      asked.push_back(textOf(target));
      return flags;
    });
  }
  static std::string textOf(const Target& target) {
    if (const auto* host = std::get_if<std::string>(&target)) return *host;
    const auto& address = reinterpret_cast<const sockaddr_in&>(std::get<sockaddr_storage>(target));
    EXPECT_EQ(address.sin_family, AF_INET);
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return text + (":" + std::to_string(address.sin_port));
  }

  SimulatedDevice device;
  std::optional<Flags> flags = 0;
  std::vector<std::string> asked;
};

TEST_F(KovaReachabilityTest, JudgesEveryCombinationOfFlags) {
  constexpr Flags kAutomatic =
      kNetworkReachabilityFlagsConnectionOnTraffic | kNetworkReachabilityFlagsConnectionOnDemand;
  constexpr Flags kAll = kAutomatic | kNetworkReachabilityFlagsReachable |
                         kNetworkReachabilityFlagsConnectionRequired |
                         kNetworkReachabilityFlagsInterventionRequired | kNetworkReachabilityFlagsIsWWAN |
                         kNetworkReachabilityFlagsIsDirect | kNetworkReachabilityFlagsTransientConnection |
                         kNetworkReachabilityFlagsIsLocalAddress;
  for (Flags given = kAll; given != 0; given = (given - 1) & kAll) {
    const auto has = [given](Flags flag) { return (given & flag) != 0; };
    const bool isReachable = has(kNetworkReachabilityFlagsReachable);
    const bool connectsByItself = has(kAutomatic) && !has(kNetworkReachabilityFlagsInterventionRequired);
    EXPECT_EQ(KovaReachability::networkStatusForFlags(given),
              isReachable && (!has(kNetworkReachabilityFlagsConnectionRequired) || connectsByItself ||
                              has(kNetworkReachabilityFlagsIsWWAN)))
        << given;
    EXPECT_EQ(KovaReachability::localWiFiStatusForFlags(given),
              isReachable && has(kNetworkReachabilityFlagsIsDirect))
        << given;
  }
}

TEST_F(KovaReachabilityTest, AsksAboutTheRightTarget) {
  const auto internet = KovaReachability::reachabilityForInternetConnection();
  const auto wifi = KovaReachability::reachabilityForLocalWiFi();
  const auto host = KovaReachability::reachabilityWithHostName("capture.example");
  const std::pair<std::optional<Flags>, std::array<int, 4>> cases[] = {
      {0, {0, 0, 0, 0}},
      {kNetworkReachabilityFlagsReachable, {1, 0, 1, 0}},
      {kNetworkReachabilityFlagsReachable | kNetworkReachabilityFlagsIsDirect |
           kNetworkReachabilityFlagsConnectionRequired,
       {0, 1, 0, 1}},
      {std::nullopt, {0, 0, 0, 0}},
  };
  for (const auto& [given, statuses] : cases) {
    flags = given;
    asked.clear();
    EXPECT_EQ((std::array{internet->currentReachabilityStatus(), wifi->currentReachabilityStatus(),
                          host->currentReachabilityStatus(), int{host->connectionRequired()}}),
              statuses);
    EXPECT_THAT(asked, ElementsAre("0.0.0.0:0", "169.254.0.0:0", "capture.example", "capture.example"));
  }
  EXPECT_FALSE(KovaReachability::reachabilityWithHostName(""));
  EXPECT_FALSE(KovaReachability::reachabilityWithAddress(sockaddr{.sa_family = AF_UNIX, .sa_data = {}}));
}

TEST_F(KovaReachabilityTest, PostsChangesUntilStopped) {
  std::function<void()> routesChange;
  NetworkReachability::installChangeSource([&](std::function<void()> changed) {
    routesChange = std::move(changed);
    return [] {};
  });
  std::vector<std::shared_ptr<NSObject>> posted;
  NSNotificationCenter::defaultCenter().addObserver(
      "kNetworkReachabilityChangedNotification",
      [&posted](const NSNotification& notification) { posted.push_back(notification.object); });

  const auto reachability = KovaReachability::reachabilityForInternetConnection();
  EXPECT_TRUE(reachability->startNotifier());
  flags = kNetworkReachabilityFlagsReachable;
  routesChange();
  device.drain();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0], reachability);

  reachability->stopNotifier();
  flags = 0;
  routesChange();
  device.drain();
  EXPECT_EQ(posted.size(), 1u);

  NetworkReachability::installChangeSource(nullptr);
  EXPECT_FALSE(reachability->startNotifier());
}

}  // namespace
