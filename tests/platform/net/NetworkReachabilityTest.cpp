#include "platform/net/NetworkReachability.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/linux/internal/Routes.h"

namespace {

using namespace platform;
using Flags = NetworkReachabilityFlags;

std::shared_ptr<NetworkReachability> reachabilityOf(const char* address) {
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  inet_pton(AF_INET, address, &v4.sin_addr);
  const sockaddr binary = std::bit_cast<sockaddr>(v4);
  return NetworkReachability::create(&binary);
}

// A network of this process alone, without an interface that is up. Needs the right to make one: a process
// that has it not fails.
class OwnNetwork {
 public:
  OwnNetwork() {
    if (unshare(CLONE_NEWNET) == 0) return;
    const uid_t user = getuid();
    check(unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0, "unshare");
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";  // so that programs keep the rights
  }

  // What the program ip is told.
  void ip(const std::string& words) const { check(std::system(("ip " + words).c_str()) == 0, "ip"); }
  // An interface 10.9.0.1 in a network of 256 addresses, with a carrier while this process lives.
  void addInterface() const {
    const int tunnel = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    ifreq request{};
    std::strcpy(request.ifr_name, "test0");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    check(ioctl(tunnel, TUNSETIFF, &request) == 0, "TUNSETIFF");
    ip("address add 10.9.0.1/24 dev test0");
    ip("link set test0 up");
  }

 private:
  static void check(bool holds, const char* what) {
    if (holds) return;
    std::perror(what);
    std::_Exit(99);
  }
};

// "0.0.0.0=2 …": the flags of each address in hexadecimal.
void printFlags(std::initializer_list<const char*> addresses) {
  NetworkReachability::installFlagSource(routeFlags);
  for (const char* address : addresses) {
    const std::optional<Flags> flags = reachabilityOf(address)->flags();
    std::cerr << address << '=' << std::hex << (flags ? static_cast<long>(*flags) : -1) << ' ';
  }
}

TEST(NetworkReachabilityTest, AsksTheInstalledSourceAfreshAboutWhatIsATarget) {
  NetworkReachability::installFlagSource({});
  EXPECT_EQ(reachabilityOf("0.0.0.0")->flags(), std::nullopt);
  Flags answer = kNetworkReachabilityFlagsReachable;
  std::string asked;
  NetworkReachability::installFlagSource([&](const NetworkReachability::Target& target) {
    if (const auto* name = std::get_if<std::string>(&target)) asked = *name;
    return answer;
  });
  const auto host = NetworkReachability::createWithName("host.example");
  EXPECT_EQ(host->flags(), 2u);
  EXPECT_EQ(asked, "host.example");
  answer = 0;
  EXPECT_EQ(host->flags(), 0u);

  sockaddr local{};
  local.sa_family = AF_UNIX;
  EXPECT_EQ(NetworkReachability::create(&local), nullptr);
  EXPECT_EQ(NetworkReachability::create(nullptr), nullptr);
  EXPECT_EQ(NetworkReachability::createWithName(""), nullptr);
}

TEST(NetworkReachabilityDeathTest, FlagsFollowTheRoutes) {
  const std::pair<std::function<void(OwnNetwork&)>, const char*> cases[] = {
      {[](auto&) {
         printFlags({"0.0.0.0", "169.254.0.0", "8.8.8.8", "127.0.0.1"});
       },
       "0.0.0.0=0 169.254.0.0=0 8.8.8.8=0 127.0.0.1=0 "},
      {[](OwnNetwork& network) {
         network.addInterface();
         printFlags({"0.0.0.0", "10.9.0.7", "10.9.0.1", "8.8.8.8"});
         network.ip("route add default via 10.9.0.2");
         printFlags({"0.0.0.0", "8.8.8.8", "169.254.0.0"});
         network.ip("link set test0 down");
         printFlags({"0.0.0.0", "10.9.0.7"});
         // Two halves are a default route.
         network.ip("link set test0 up");
         network.ip("route add 128.0.0.0/1 via 10.9.0.2");
         network.ip("route add 64.0.0.0/2 via 10.9.0.2");
         printFlags({"0.0.0.0"});
         network.ip("route add 0.0.0.0/1 via 10.9.0.2");
         printFlags({"0.0.0.0"});
       },
       "0.0.0.0=0 10.9.0.7=20002 10.9.0.1=30002 8.8.8.8=0 0.0.0.0=2 8.8.8.8=2 169.254.0.0=2 0.0.0.0=0 "
       "10.9.0.7=0 0.0.0.0=0 0.0.0.0=2 "}};
  for (const auto& [happens, flags] : cases) {
    EXPECT_EXIT(
        {
          OwnNetwork network;
          happens(network);
          std::_Exit(0);
        },
        testing::ExitedWithCode(0), flags);
  }
}

TEST(NetworkReachabilityDeathTest, TellsOfChangesOnTheMainThread) {
  EXPECT_EXIT(
      {
        OwnNetwork network;
        network.addInterface();
        NetworkReachability::installFlagSource(routeFlags);
        NetworkReachability::installChangeSource(watchRoutes);
        MainRunLoop& loop = ThreadScheduler::installed().ownRunLoop();
        auto reachability = reachabilityOf("0.0.0.0");
        reachability->setCallback([&](NetworkReachability& changed, Flags flags) {
          std::cerr << "flags " << flags << " main " << Scheduler::current().isMainThread() << ' '
                    << (&changed == reachability.get());
          loop.stop();
        });
        std::cerr << "scheduled " << reachability->scheduleOnMainRunLoop()
                  << reachability->scheduleOnMainRunLoop() << ' ';
        network.ip("route add default via 10.9.0.2");
        loop.runFor(20);
        const bool stopped = reachability->unscheduleFromMainRunLoop();
        std::cerr << " unscheduled " << stopped << reachability->unscheduleFromMainRunLoop();
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "scheduled 10 flags 2 main 1 1 unscheduled 10");
}

}  // namespace
