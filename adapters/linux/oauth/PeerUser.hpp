#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include <sys/types.h>

namespace corvane {

/// The two ends of a loopback connection, as seen by the one that accepted it.
struct LoopbackPorts {
  std::uint16_t own = 0;
  std::uint16_t peer = 0;
};

/// The user who owns the other end, by the kernel's table of TCP sockets (proc(5), /proc/net/tcp); nothing when it
/// cannot be told.
std::optional<uid_t> peerUser(LoopbackPorts ports);

/// The same by the text of such a table.
std::optional<uid_t> peerUserIn(std::string_view table, LoopbackPorts ports);

/// Whether the other end belongs to another user of the machine, who is not root. Unknown users count as our own, as
/// do those that a container has no name for.
bool isAnotherUser(std::optional<uid_t> peer);

}  // namespace corvane
