#include "RequestTarget.hpp"

#include "CurlErrors.hpp"
#include "URLErrors.hpp"

#include <algorithm>
#include <optional>

namespace corvane {
namespace {

using Vetted = Result<RequestTarget, NSError>;

/// Far above any server's limit, and below the megabyte that libcurl has for the head of a request.
constexpr std::size_t longestURL = 512 * 1024;

// One pass for each, at the speed of memory; find_first_of would make a call for each byte.
bool hasLineBreak(std::string_view text) {
  return text.find('\r') != text.npos || text.find('\n') != text.npos || text.find('\0') != text.npos;
}

// A blank or a control character would end the path early, and begin what the server takes for the next header.
bool isPrintable(std::string_view url) {
  // To its end whatever it finds, which the compiler makes many bytes at a time of; none_of goes byte by byte.
  unsigned char bad = 0;
  for (const char c : url) {
    const auto byte = static_cast<unsigned char>(c);
    bad = static_cast<unsigned char>(bad | static_cast<unsigned char>(byte <= 0x20) |
                                     static_cast<unsigned char>(byte == 0x7f));
  }
  return bad == 0;
}

bool isToken(std::string_view text) {  // RFC 9110, 5.6.2
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           (c != 0 &&
            std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos);
  });
}

std::optional<NSError> badHeaders(const HTTPRequest& request) {
  const auto refuse = [](std::string_view why) {
    return urlError::make(urlError::badURL, "The request was not sent", why);
  };
  if (!isToken(request.method)) return refuse("its method is not an HTTP method");
  if (hasLineBreak(request.bearer.reveal())) return refuse("its access token holds a line break");
  for (const auto& [name, value] : request.headers)
    if (!isToken(name) || hasLineBreak(value)) return refuse("one of its headers is malformed");
  return std::nullopt;
}

}  // namespace

Vetted RequestTarget::vet(const HTTPRequest& request, Origins& origins) {
  if (auto error = badHeaders(request)) return Vetted::failure(*std::move(error));

  // RFC 3986, section 3. The fragment is not for the server.
  std::string_view url = request.url;
  if (url.size() > longestURL)
    return Vetted::failure(
        urlError::make(urlError::badURL, "The request was not sent", "its URL is too long"));
  if (!isPrintable(url)) return Vetted::failure(malformedURLError());
  url = url.substr(0, url.find('#'));
  const auto scheme = url.find("://");
  if (scheme == url.npos) return Vetted::failure(malformedURLError());
  const auto pathAt = std::min(url.find_first_of("/?", scheme + 3), url.size());
  std::string base(url.substr(0, pathAt));
  base += '/';
  auto origin = origins.vetted(base);
  if (!origin) return Vetted::failure(std::move(origin).error());

  RequestTarget target{std::move(origin).value(), {}};
  const auto path = url.substr(pathAt);
  target.path.reserve(path.size() + 1);
  if (!path.starts_with('/')) target.path += '/';
  target.path += path;
  return Vetted::success(std::move(target));
}

}  // namespace corvane
