#include "LoopbackURL.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <string>

namespace corvane::cli {
namespace {

bool isLoopbackHost(std::string_view host) {
  if (host == "localhost" || host == "[::1]") return true;
  in_addr address{};
  return inet_pton(AF_INET, std::string(host).c_str(), &address) == 1 &&
         ntohl(address.s_addr) >> 24 == 127;
}

bool isPort(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isPath(std::string_view text) {
  const auto ordinary = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("/-._~").find(c) != std::string_view::npos;
  };
  return text.empty() || (text.front() == '/' && std::all_of(text.begin(), text.end(), ordinary));
}

}  // namespace

bool isLoopbackURL(std::string_view url) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (!url.starts_with(scheme)) continue;
    url.remove_prefix(scheme.size());
    const auto slash = std::min(url.find('/'), url.size());
    if (!isPath(url.substr(slash))) return false;
    const auto authority = url.substr(0, slash);
    if (isLoopbackHost(authority)) return true;
    const auto colon = authority.rfind(':');
    return colon != authority.npos && isLoopbackHost(authority.substr(0, colon)) &&
           isPort(authority.substr(colon + 1));
  }
  return false;
}

}  // namespace corvane::cli
