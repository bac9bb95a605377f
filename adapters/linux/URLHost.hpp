#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// The host, and port if it is given, of a URL, for error texts: never user information, a path or a query.
inline std::string hostOf(std::string_view url) {
  if (const auto scheme = url.find("://"); scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
  url = url.substr(0, url.find_first_of("/?#"));
  if (const auto at = url.rfind('@'); at != std::string_view::npos) url.remove_prefix(at + 1);
  return url.empty() ? "the server" : std::string(url);
}

}  // namespace corvane
