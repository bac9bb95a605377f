#include "Operation.hpp"

#include <algorithm>
#include <array>

namespace corvane::emulator {
namespace {

constexpr std::string_view filesPath = "/drive/v3/files";

constexpr std::array<std::string_view, 13> operations = {
    "about", "files.list", "files.get", "files.update", "files.delete", "auth",   "auth.consent",
    "token", "revoke",     "userinfo",  "certs",        "discovery",    "unknown"};

std::string_view fileOperation(std::string_view method) {
  if (method == "GET") return "files.get";
  if (method == "PATCH") return "files.update";
  if (method == "DELETE") return "files.delete";
  return "unknown";
}

bool isFilePath(std::string_view path) {
  if (!path.starts_with(filesPath) || path.size() < filesPath.size() + 2) return false;
  const auto rest = path.substr(filesPath.size());
  return rest.front() == '/' && rest.find('/', 1) == std::string_view::npos;
}

}  // namespace

std::string_view operationOf(std::string_view method, std::string_view path) {
  const bool get = method == "GET";
  const bool post = method == "POST";
  if (path == "/drive/v3/about" && get) return "about";
  if (path == filesPath && get) return "files.list";
  if (isFilePath(path)) return fileOperation(method);
  if (path == "/o/oauth2/v2/auth" && get) return "auth";
  if (path == "/o/oauth2/v2/auth" && post) return "auth.consent";
  if (path == "/token" && post) return "token";
  if (path == "/revoke" && post) return "revoke";
  if (path == "/userinfo" && get) return "userinfo";
  if (path == "/oauth2/v3/certs" && get) return "certs";
  if (path == "/.well-known/openid-configuration" && get) return "discovery";
  return "unknown";
}

bool isOperation(std::string_view name) {
  return std::ranges::find(operations, name) != operations.end();
}

}  // namespace corvane::emulator
