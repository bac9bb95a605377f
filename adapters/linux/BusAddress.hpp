#pragma once

#include "GLibPointers.hpp"

#include <stdlib.h>
#include <sys/stat.h>

#include <optional>
#include <string>

namespace corvane {

/// Where the session's message bus listens: `DBUS_SESSION_BUS_ADDRESS`, else `$XDG_RUNTIME_DIR/bus`. Nothing when
/// there is none: GLib would then start a bus of its own (`dbus-launch`) that no keyring or portal lives on, and one more
/// at each call.
inline std::optional<std::string> sessionBusAddress() {
  const auto variable = [](const char* name) -> std::string {
    const char* value = ::secure_getenv(name);
    return value ? value : "";
  };
  if (const auto address = variable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) {
    if (address.find("autolaunch:") != std::string::npos) return std::nullopt;
    return address;
  }
  const auto folder = variable("XDG_RUNTIME_DIR");
  const auto path = folder + "/bus";
  struct stat status {};
  if (folder.empty() || ::stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return std::nullopt;
  const GTextPointer escaped(g_dbus_address_escape_value(path.c_str()));
  return "unix:path=" + std::string(escaped.get());
}

}  // namespace corvane
