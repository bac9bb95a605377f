#include "ServerAddress.hpp"

#include "URLHost.hpp"

#include <algorithm>

namespace corvane {

namespace {

struct Parts {
  std::string scheme;     // in lower case
  std::string authority;  // host and port, with user information if there is any
  std::string_view rest;  // path, query and fragment
};

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

void dropEnd(std::string& text, std::string_view end) {
  if (text.ends_with(end)) text.resize(text.size() - end.size());
}

Parts partsOf(std::string_view url) {
  constexpr std::string_view separator = "://";
  const auto schemeEnd = std::min(url.find(separator), url.size());
  const auto afterScheme = url.substr(std::min(url.size(), schemeEnd + separator.size()));
  const auto authority = afterScheme.substr(0, afterScheme.find_first_of("/?#"));
  // User information is not the same in another case; a configured address has none.
  const bool hasUser = authority.find('@') != std::string_view::npos;
  Parts parts{lowerCase(url.substr(0, schemeEnd)),
              hasUser ? std::string(authority) : lowerCase(authority),
              afterScheme.substr(authority.size())};
  if (parts.scheme == "https") dropEnd(parts.authority, ":443");
  if (parts.scheme == "http") dropEnd(parts.authority, ":80");
  dropEnd(parts.authority, ":");
  return parts;
}

std::string shown(std::string_view url) {
  const auto parts = partsOf(url);
  return parts.scheme + "://" + hostOf(url) +
         std::string(parts.rest.substr(0, parts.rest.find_first_of("?#")));
}

}  // namespace

std::string normalizedAddress(std::string_view url) {
  const auto parts = partsOf(url);
  auto address = parts.scheme + "://" + parts.authority + std::string(parts.rest);
  dropEnd(address, "/");
  return address;
}

std::pair<std::string, std::string> shownApart(std::string_view one, std::string_view other) {
  if (hostOf(normalizedAddress(one)) != hostOf(normalizedAddress(other)))
    return {hostOf(one), hostOf(other)};
  return {shown(one), shown(other)};
}

}  // namespace corvane
