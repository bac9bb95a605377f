#pragma once

#include <gio/gio.h>

namespace corvane {

/// Ends a connection to the message bus while it is being made or used: whoever waits on it fails at once. GDBus waits 25
/// seconds for the bus's greeting, whatever is cancelled meanwhile, but not on a socket that is shut down. A bus that is
/// reached through a program (unixexec:) has no socket.
inline void shutDown(GIOStream& stream) {
  if (G_IS_SOCKET_CONNECTION(&stream))
    g_socket_shutdown(g_socket_connection_get_socket(G_SOCKET_CONNECTION(&stream)), TRUE, TRUE, nullptr);
}

}  // namespace corvane
