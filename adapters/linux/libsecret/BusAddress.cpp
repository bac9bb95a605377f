#include "BusAddress.hpp"

#include "GLibPointers.hpp"

#include <stdlib.h>
#include <sys/stat.h>

namespace corvane {
namespace {

std::string variable(const char* name) {
  const char* value = ::secure_getenv(name);
  return value ? value : "";
}

bool isSocket(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
  if (const auto address = variable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) {
    if (address.find("autolaunch:") != std::string::npos) return std::nullopt;
    return address;
  }
  const auto folder = variable("XDG_RUNTIME_DIR");
  const auto path = folder + "/bus";
  if (folder.empty() || !isSocket(path)) return std::nullopt;
  const GTextPointer escaped(g_dbus_address_escape_value(path.c_str()));
  return "unix:path=" + std::string(escaped.get());
}

}  // namespace corvane
