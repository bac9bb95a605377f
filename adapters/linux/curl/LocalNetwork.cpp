#include "LocalNetwork.hpp"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

namespace corvane {

bool hasNetworkInterface() noexcept {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return true;
  bool found = false;
  for (const ifaddrs* each = first; each && !found; each = each->ifa_next) {
    const bool addressed =
        each->ifa_addr && (each->ifa_addr->sa_family == AF_INET || each->ifa_addr->sa_family == AF_INET6);
    found = addressed && (each->ifa_flags & IFF_UP) && !(each->ifa_flags & IFF_LOOPBACK);
  }
  freeifaddrs(first);
  return found;
}

}  // namespace corvane
