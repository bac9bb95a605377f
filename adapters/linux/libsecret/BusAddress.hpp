#pragma once

#include <optional>
#include <string>

namespace corvane {

/// Where the session's message bus listens: `DBUS_SESSION_BUS_ADDRESS`, else `$XDG_RUNTIME_DIR/bus`. Nothing when
/// there is none: GLib would then start a bus of its own (`dbus-launch`) that no keyring lives on, and one more at each
/// call.
std::optional<std::string> sessionBusAddress();

}  // namespace corvane
