#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace corvane {

/// The two ends of a connection, each in the form of proc(5), /proc/net/tcp: "0100007F:1F90".
struct SocketEnds {
  std::string own;
  std::string peer;
};

/// One end; the address has 4 or 16 bytes in network order.
std::string socketEnd(std::span<const unsigned char> address, std::uint16_t port);

/// Whether the other end of a loopback connection is not to be trusted: it belongs to another user
/// of the machine, who is not root, or has been closed, so that nobody can tell whose it was. A
/// browser waits for its answer. Where the kernel's table cannot be read, nobody is a stranger.
bool isStranger(const SocketEnds& ends);

/// The user who owns the other end, by the text of the kernel's table of TCP sockets; nothing when
/// no open socket has these two ends.
std::optional<uid_t> peerUserIn(std::string_view table, const SocketEnds& ends);

/// Whether a process with this /proc/PID/uid_map sees every user under a number of its own
/// (user_namespaces(7)). Otherwise the overflow user stands for all that it cannot see.
bool seesEveryUser(std::string_view uidMap);

}  // namespace corvane
