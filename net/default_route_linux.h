// What the routing table says of the way out.
#pragma once

#include <cstdint>

namespace vdx::net {

// NetworkReachabilityFlags: reachable when there is a default route over a working
// link, of either family; mobile when the preferred one is over a mobile interface.
// False when the table cannot be read.
bool readDefaultRoute(std::uint32_t& nFlags);

}  // namespace vdx::net
