#pragma once

#include <functional>
#include <optional>

#include "platform/net/NetworkReachability.h"

namespace platform {

// Reachability from the kernel's routing table, asked over a netlink socket; no packet leaves the device.

// The zero address and names stand for "the internet": reachable when there is a default route, or one for
// each half of the addresses, through an interface that is up. Another address is looked up in the table:
// reachable when a route leads there, direct when no gateway lies between. No route is 0; none when the
// kernel could not be asked. Any thread; some ten microseconds.
std::optional<NetworkReachabilityFlags> routeFlags(const NetworkReachability::Target& target);

// Calls `changed` after each change of routes, addresses or links, on a thread that exists from here until
// the returned function has returned. An empty function when the kernel does not let us watch.
NetworkReachability::StopWatching watchRoutes(std::function<void()> changed);

}  // namespace platform
