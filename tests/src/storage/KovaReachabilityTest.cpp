#include "src/storage/KovaReachability.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <algorithm>

#include "platform/foundation/NSNotificationCenter.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

using Flags = NetworkReachabilityFlags;
using Target = NetworkReachability::Target;

// The flags of a device and what was asked about.
class KovaReachabilityTest : public testing::Test {
 protected:
  KovaReachabilityTest() {
    NetworkReachability::installFlagSource([this](const Target& target) {
      lastTarget = target;
      return flags;
    });
  }
  sockaddr_in lastAddress() const {
    return reinterpret_cast<const sockaddr_in&>(std::get<sockaddr_storage>(lastTarget));
  }

  SimulatedDevice device;
  std::optional<Flags> flags = 0;
  Target lastTarget;
};

TEST_F(KovaReachabilityTest, JudgesEveryCombinationOfFlags) {
  constexpr Flags kReachable = kNetworkReachabilityFlagsReachable;
  constexpr Flags kRequired = kNetworkReachabilityFlagsConnectionRequired;
  constexpr Flags kAutomatic =
      kNetworkReachabilityFlagsConnectionOnTraffic | kNetworkReachabilityFlagsConnectionOnDemand;
  constexpr Flags kIntervention = kNetworkReachabilityFlagsInterventionRequired;
  // Reachable networks that are not: what is set, and what is not.
  const std::pair<Flags, Flags> out[] = {{kRequired, kAutomatic | kNetworkReachabilityFlagsIsWWAN},
                                         {kRequired | kIntervention, kNetworkReachabilityFlagsIsWWAN}};
  const auto isOut = [&](Flags given) {
    return std::any_of(std::begin(out), std::end(out), [given](const auto& row) {
      return (given & row.first) == row.first && !(given & row.second);
    });
  };
  constexpr Flags kAll = kReachable | kRequired | kAutomatic | kIntervention |
                         kNetworkReachabilityFlagsIsWWAN | kNetworkReachabilityFlagsIsDirect |
                         kNetworkReachabilityFlagsTransientConnection |
                         kNetworkReachabilityFlagsIsLocalAddress;
  for (Flags combination = kAll; combination != 0; combination = (combination - 1) & kAll) {
    const bool isReachable = combination & kReachable;
    EXPECT_EQ(KovaReachability::networkStatusForFlags(combination), isReachable && !isOut(combination))
        << combination;
    EXPECT_EQ(KovaReachability::localWiFiStatusForFlags(combination),
              isReachable && (combination & kNetworkReachabilityFlagsIsDirect))
        << combination;
  }
}

TEST_F(KovaReachabilityTest, AsksAboutTheRightTarget) {
  const auto internet = KovaReachability::reachabilityForInternetConnection();
  const auto wifi = KovaReachability::reachabilityForLocalWiFi();
  const auto host = KovaReachability::reachabilityWithHostName("capture.example");
  const struct {
    std::optional<Flags> flags;
    int internet, wifi;
    bool isConnectionRequired;
  } rows[] = {
      {0, 0, 0, false},
      {kNetworkReachabilityFlagsReachable, 1, 0, false},
      {kNetworkReachabilityFlagsReachable | kNetworkReachabilityFlagsIsDirect |
           kNetworkReachabilityFlagsConnectionRequired,
       0, 1, true},
      {std::nullopt, 0, 0, false},
  };
  for (const auto& row : rows) {
    flags = row.flags;
    EXPECT_EQ(internet->currentReachabilityStatus(), row.internet);
    EXPECT_EQ(lastAddress().sin_family, AF_INET);
    EXPECT_EQ(lastAddress().sin_port, 0);
    EXPECT_EQ(lastAddress().sin_addr.s_addr, 0u);
    EXPECT_EQ(wifi->currentReachabilityStatus(), row.wifi);
    EXPECT_EQ(ntohl(lastAddress().sin_addr.s_addr), 0xA9FE0000u);
    EXPECT_EQ(host->currentReachabilityStatus(), row.internet);
    EXPECT_EQ(std::get<std::string>(lastTarget), "capture.example");
    EXPECT_EQ(host->connectionRequired(), row.isConnectionRequired);
  }
  EXPECT_FALSE(KovaReachability::reachabilityWithHostName(""));
  sockaddr local{};
  local.sa_family = AF_UNIX;
  EXPECT_FALSE(KovaReachability::reachabilityWithAddress(local));
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
