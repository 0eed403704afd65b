#include "src/storage/KovaReachability.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include "platform/foundation/NSNotificationCenter.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

using Flags = NetworkReachabilityFlags;
using Target = NetworkReachability::Target;

constexpr Flags kIrrelevant =
    kNetworkReachabilityFlagsTransientConnection | kNetworkReachabilityFlagsIsLocalAddress;

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
  // Of reachable networks, by connection required, on traffic, on demand, intervention required, cellular:
  // from 00000 to 11111, the last flag changing first.
  const std::string reachable =
      "1111"
      "1111"
      "1111"
      "1111"  // no connection required
      "0101"
      "1101"
      "1101"
      "1101";  // required: by itself none; on demand; on traffic; both
  const Flags byPosition[] = {kNetworkReachabilityFlagsIsWWAN, kNetworkReachabilityFlagsInterventionRequired,
                              kNetworkReachabilityFlagsConnectionOnDemand,
                              kNetworkReachabilityFlagsConnectionOnTraffic,
                              kNetworkReachabilityFlagsConnectionRequired};
  for (std::size_t i = 0; i < reachable.size(); ++i) {
    Flags combination = 0;
    for (std::size_t bit = 0; bit < 5; ++bit) combination |= (i >> bit & 1) ? byPosition[bit] : 0;
    const int expected = reachable[i] - '0';
    for (const Flags other : {Flags(0), kIrrelevant, kNetworkReachabilityFlagsIsDirect}) {
      const Flags unreachable = combination | other;
      EXPECT_EQ(KovaReachability::networkStatusForFlags(unreachable), 0) << i;
      EXPECT_EQ(KovaReachability::networkStatusForFlags(unreachable | kNetworkReachabilityFlagsReachable),
                expected)
          << i;
      EXPECT_EQ(KovaReachability::localWiFiStatusForFlags(unreachable), 0) << i;
      EXPECT_EQ(KovaReachability::localWiFiStatusForFlags(unreachable | kNetworkReachabilityFlagsReachable),
                other == kNetworkReachabilityFlagsIsDirect)
          << i;
    }
  }
}

TEST_F(KovaReachabilityTest, AsksAboutTheRightAddressAtEachQuestion) {
  const auto internet = KovaReachability::reachabilityForInternetConnection();
  EXPECT_EQ(internet->currentReachabilityStatus(), 0);
  EXPECT_EQ(lastAddress().sin_family, AF_INET);
  EXPECT_EQ(lastAddress().sin_port, 0);
  EXPECT_EQ(lastAddress().sin_addr.s_addr, 0u);
  flags = kNetworkReachabilityFlagsReachable;
  EXPECT_EQ(internet->currentReachabilityStatus(), 1);

  // Reached, but not directly.
  const auto wifi = KovaReachability::reachabilityForLocalWiFi();
  EXPECT_EQ(wifi->currentReachabilityStatus(), 0);
  EXPECT_EQ(ntohl(lastAddress().sin_addr.s_addr), 0xA9FE0000u);
  flags = kNetworkReachabilityFlagsReachable | kNetworkReachabilityFlagsIsDirect |
          kNetworkReachabilityFlagsConnectionRequired;
  EXPECT_EQ(wifi->currentReachabilityStatus(), 1);
  EXPECT_EQ(internet->currentReachabilityStatus(), 0);
  EXPECT_TRUE(internet->connectionRequired());

  const auto host = KovaReachability::reachabilityWithHostName("capture.example");
  flags = kNetworkReachabilityFlagsReachable;
  EXPECT_EQ(host->currentReachabilityStatus(), 1);
  EXPECT_FALSE(host->connectionRequired());
  EXPECT_EQ(std::get<std::string>(lastTarget), "capture.example");

  flags = std::nullopt;
  for (const auto& each : {internet, wifi, host}) {
    EXPECT_EQ(each->currentReachabilityStatus(), 0);
    EXPECT_FALSE(each->connectionRequired());
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
