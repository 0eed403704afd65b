#include "platform/linux/internal/Routes.h"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/dispatch/internal/SignalsBlocked.h"
#include "platform/foundation/internal/FileDescriptor.h"

namespace platform {
namespace {

using Flags = NetworkReachabilityFlags;
constexpr std::size_t kReceiveBufferSize = 32u << 10;

// What one message of the kernel about a route tells.
struct Route {
  unsigned char family = AF_UNSPEC;
  unsigned char type = RTN_UNSPEC;
  unsigned char table = RT_TABLE_UNSPEC;
  unsigned char destinationBits = 0;
  bool isUpperHalf = false;  // the destination's first bit
  bool hasGateway = false;
  std::vector<unsigned> interfaces;
};

void readNextHops(const rtattr& attribute, Route& route) {
  auto* hop = static_cast<const rtnexthop*>(RTA_DATA(&attribute));
  int left = static_cast<int>(RTA_PAYLOAD(&attribute));
  while (left >= static_cast<int>(sizeof *hop) && RTNH_OK(hop, left)) {
    if ((hop->rtnh_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) == 0) {
      route.interfaces.push_back(static_cast<unsigned>(hop->rtnh_ifindex));
    }
    if (hop->rtnh_len > sizeof *hop) route.hasGateway = true;
    left -= static_cast<int>(NLMSG_ALIGN(hop->rtnh_len));
    hop = RTNH_NEXT(hop);
  }
}

Route readRoute(const nlmsghdr& message) {
  const auto* header = static_cast<const rtmsg*>(NLMSG_DATA(&message));
  Route route;
  route.family = header->rtm_family;
  route.type = header->rtm_type;
  route.table = header->rtm_table;
  route.destinationBits = header->rtm_dst_len;
  if ((header->rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) != 0) return route;

  int left = static_cast<int>(RTM_PAYLOAD(&message));
  for (const rtattr* attribute = RTM_RTA(header); RTA_OK(attribute, left);
       attribute = RTA_NEXT(attribute, left)) {
    switch (attribute->rta_type) {
      case RTA_DST:
        route.isUpperHalf = (*static_cast<const unsigned char*>(RTA_DATA(attribute)) & 0x80) != 0;
        break;
      case RTA_OIF: {
        unsigned index = 0;
        std::memcpy(&index, RTA_DATA(attribute), sizeof index);
        route.interfaces.push_back(index);
        break;
      }
      case RTA_GATEWAY:
      case RTA_VIA:
        route.hasGateway = true;
        break;
      case RTA_MULTIPATH:
        readNextHops(*attribute, route);
        break;
      default:
        break;
    }
  }
  return route;
}

// A conversation with the kernel about routes: one request, then its answers.
class RouteQuery {
 public:
  RouteQuery() : socket_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}

  bool askForAll() { return send(AF_UNSPEC, NLM_F_DUMP, nullptr, 0); }
  bool askFor(int family, const void* address, std::size_t size) { return send(family, 0, address, size); }

  // Calls `accept(route)` for each route until it answers true, and tells whether it did. None when the
  // kernel did not answer.
  template <class Accept>
  std::optional<bool> find(Accept accept) {
    std::vector<char> buffer(kReceiveBufferSize);
    while (true) {
      const ssize_t size = recv(socket_.number(), buffer.data(), buffer.size(), 0);
      if (size < 0 && errno == EINTR) continue;
      if (size <= 0) return std::nullopt;
      auto left = static_cast<unsigned>(size);
      for (auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(message, left);
           message = NLMSG_NEXT(message, left)) {
        if (message->nlmsg_type == NLMSG_DONE) return false;
        if (message->nlmsg_type == NLMSG_ERROR) return noRoute(*message);
        if (message->nlmsg_type != RTM_NEWROUTE) continue;
        if (accept(readRoute(*message))) return true;
        if ((message->nlmsg_flags & NLM_F_MULTI) == 0) return false;
      }
    }
  }

 private:
  struct Request {
    nlmsghdr header;
    rtmsg route;
    std::array<char, RTA_SPACE(sizeof(in6_addr))> attributes;
  };

  bool send(int family, int flags, const void* address, std::size_t size) {
    if (!socket_.isOpen()) return false;
    Request request{};
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = static_cast<unsigned short>(NLM_F_REQUEST | flags);
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.route.rtm_family = static_cast<unsigned char>(family);
    if (size > 0) {
      request.route.rtm_dst_len = static_cast<unsigned char>(size * 8);
      rtattr attribute{};
      attribute.rta_type = RTA_DST;
      attribute.rta_len = static_cast<unsigned short>(RTA_LENGTH(size));
      std::memcpy(request.attributes.data(), &attribute, sizeof attribute);
      std::memcpy(request.attributes.data() + RTA_LENGTH(0), address, size);
      request.header.nlmsg_len += static_cast<unsigned>(RTA_SPACE(size));
    }
    return ::send(socket_.number(), &request, request.header.nlmsg_len, 0) >= 0;
  }

  // The kernel answers a question for a place that no route leads to with an error; others are failures.
  static std::optional<bool> noRoute(const nlmsghdr& message) {
    const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(&message));
    constexpr std::array kNoRoute = {ENETUNREACH, EHOSTUNREACH, ENETDOWN,    EACCES,
                                     EINVAL,      ESRCH,        EAFNOSUPPORT};
    if (std::find(kNoRoute.begin(), kNoRoute.end(), -error->error) != kNoRoute.end()) return false;
    return std::nullopt;
  }

  FileDescriptor socket_;
};

// Up, with a carrier, and leading out of the device.
bool isUsable(unsigned interfaceIndex) {
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  if (!socket.isOpen() || !if_indextoname(interfaceIndex, request.ifr_name)) return false;
  if (ioctl(socket.number(), SIOCGIFFLAGS, &request) != 0) return false;
  const auto flags = static_cast<unsigned short>(request.ifr_flags);
  return (flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0 && (flags & IFF_LOOPBACK) == 0;
}

// The halves of a family's addresses that routes lead to. A VPN that takes all traffic often lays two routes,
// one for each half, over the default route, or in its place.
class Halves {
 public:
  // Whether all addresses of the family are reached by now.
  bool add(const Route& route) {
    unsigned& reached = route.family == AF_INET6 ? v6_ : v4_;
    reached |= route.destinationBits == 0 ? kBoth : route.isUpperHalf ? kUpper : kLower;
    return reached == kBoth;
  }

 private:
  static constexpr unsigned kLower = 1, kUpper = 2, kBoth = 3;
  unsigned v4_ = 0;
  unsigned v6_ = 0;
};

std::optional<Flags> flagsOfDefaultRoute() {
  RouteQuery query;
  if (!query.askForAll()) return std::nullopt;
  Halves halves;
  const std::optional<bool> found = query.find([&halves](const Route& route) {
    return route.type == RTN_UNICAST && route.destinationBits <= 1 && route.table != RT_TABLE_LOCAL &&
           std::any_of(route.interfaces.begin(), route.interfaces.end(), isUsable) && halves.add(route);
  });
  if (!found) return std::nullopt;
  return *found ? kNetworkReachabilityFlagsReachable : 0;
}

Flags flagsOf(const Route& route) {
  if (route.type == RTN_LOCAL) {
    return kNetworkReachabilityFlagsReachable | kNetworkReachabilityFlagsIsLocalAddress |
           kNetworkReachabilityFlagsIsDirect;
  }
  if (route.type != RTN_UNICAST && route.type != RTN_BROADCAST && route.type != RTN_MULTICAST) return 0;
  if (std::none_of(route.interfaces.begin(), route.interfaces.end(), isUsable)) return 0;
  return kNetworkReachabilityFlagsReachable | (route.hasGateway ? 0 : kNetworkReachabilityFlagsIsDirect);
}

std::optional<Flags> flagsOfRouteTo(int family, const void* address, std::size_t size) {
  RouteQuery query;
  if (!query.askFor(family, address, size)) return std::nullopt;
  Flags flags = 0;
  const std::optional<bool> answered = query.find([&](const Route& route) {
    flags = flagsOf(route);
    return true;
  });
  if (!answered) return std::nullopt;
  return flags;
}

bool isZero(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const char*>(bytes);
  return std::all_of(first, first + size, [](char byte) { return byte == 0; });
}

std::optional<Flags> flagsOfAddress(int family, const void* address, std::size_t size) {
  return isZero(address, size) ? flagsOfDefaultRoute() : flagsOfRouteTo(family, address, size);
}

// A name is not looked up, which could take seconds: only a number in it tells more than "somewhere out
// there".
std::optional<Flags> flagsOfName(const std::string& name) {
  in_addr v4{};
  if (inet_pton(AF_INET, name == "localhost" ? "127.0.0.1" : name.c_str(), &v4) == 1) {
    return flagsOfAddress(AF_INET, &v4, sizeof v4);
  }
  in6_addr v6{};
  if (inet_pton(AF_INET6, name.c_str(), &v6) == 1) return flagsOfAddress(AF_INET6, &v6, sizeof v6);
  return flagsOfDefaultRoute();
}

// The socket that hears of changes, and the way to end waiting for it.
struct RouteWatch {
  FileDescriptor socket{::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)};
  FileDescriptor stop{eventfd(0, EFD_CLOEXEC)};
  std::thread thread;

  bool open() {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups =
        RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    return socket.isOpen() && stop.isOpen() &&
           bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  void run(const std::function<void()>& changed) {
    std::vector<char> buffer(kReceiveBufferSize);
    std::array<pollfd, 2> waiting{{{stop.number(), POLLIN, 0}, {socket.number(), POLLIN, 0}}};
    while (true) {
      if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) return;
      if (waiting[0].revents != 0) return;
      if (waiting[1].revents == 0) continue;
      // What changed does not matter. Messages lost to a full buffer (ENOBUFS) are a change as well.
      const ssize_t size = recv(socket.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
      if (size > 0 || errno == ENOBUFS) changed();
    }
  }

  void end() {
    const std::uint64_t one = 1;
    static_cast<void>(!write(stop.number(), &one, sizeof one));
    thread.join();
  }
};

}  // namespace

std::optional<NetworkReachabilityFlags> routeFlags(const NetworkReachability::Target& target) {
  if (const auto* name = std::get_if<std::string>(&target)) return flagsOfName(*name);
  const auto& address = std::get<sockaddr_storage>(target);
  if (address.ss_family == AF_INET) {
    const in_addr& v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    return flagsOfAddress(AF_INET, &v4, sizeof v4);
  }
  const in6_addr& v6 = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  return flagsOfAddress(AF_INET6, &v6, sizeof v6);
}

NetworkReachability::StopWatching watchRoutes(std::function<void()> changed) {
  auto watch = std::make_shared<RouteWatch>();
  if (!watch->open()) return {};
  try {
    const SignalsBlocked signalsBlocked;
    watch->thread = std::thread([&watched = *watch, changed = std::move(changed)] { watched.run(changed); });
  } catch (const std::system_error&) {
    return {};
  }
  return [watch] { watch->end(); };
}

}  // namespace platform
