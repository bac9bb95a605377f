// The kernel is asked for a route, not for its interfaces: a bridge of containers is an interface
// that is up, and leads nowhere. Connecting a UDP socket chooses the route and sends nothing.
#include "LocalNetwork.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace corvane {
namespace {

// Addresses for documentation (RFC 5737, RFC 3849): outside every real network, so that only a
// default route leads there.
constexpr const char* outsideIPv4 = "192.0.2.1";
constexpr const char* outsideIPv6 = "2001:db8::1";
constexpr in_port_t anyPort = 443;

template <class Address>
bool leadsTo(const Address& address, int family) noexcept {
  const int socket = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return errno != EAFNOSUPPORT;
  const bool found =
      ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(socket);
  return found;
}

}  // namespace

bool hasWayToInternet() noexcept {
  sockaddr_in four{};
  four.sin_family = AF_INET;
  four.sin_port = htons(anyPort);
  ::inet_pton(AF_INET, outsideIPv4, &four.sin_addr);
  sockaddr_in6 six{};
  six.sin6_family = AF_INET6;
  six.sin6_port = htons(anyPort);
  ::inet_pton(AF_INET6, outsideIPv6, &six.sin6_addr);
  return leadsTo(four, AF_INET) || leadsTo(six, AF_INET6);
}

}  // namespace corvane
