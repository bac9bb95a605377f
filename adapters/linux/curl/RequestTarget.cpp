#include "RequestTarget.hpp"

#include "CurlErrors.hpp"
#include "URLErrors.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace corvane {
namespace {

using Vetted = Result<RequestTarget, NSError>;

/// Far above any server's limit, and below the megabyte that libcurl has for the head of a request.
constexpr std::size_t longestURL = 512 * 1024;

bool hasLineBreak(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != text.npos;
}

// A blank or a control character would end the path early, and begin what the server takes for the
// next header.
bool isPrintable(std::string_view url) {
  return std::all_of(url.begin(), url.end(), [](unsigned char c) { return c > 0x20 && c != 0x7f; });
}

// libcurl would take what stands behind one slash or three for the host.
bool hostIsMissing(std::string_view url) {
  const auto colon = url.find(':');
  if (colon == url.npos || url.substr(colon, 3) != "://") return true;
  return url.starts_with("http") && url.substr(colon + 3).starts_with('/');
}

bool isToken(std::string_view text) {  // RFC 9110, 5.6.2
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           (c != 0 && std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) !=
                          std::string_view::npos);
  });
}

std::optional<NSError> badRequest(const HTTPRequest& request) {
  const auto refuse = [](std::string_view why) {
    return urlError::make(urlError::badURL, "The request was not sent", why);
  };
  if (!isToken(request.method)) return refuse("its method is not an HTTP method");
  if (hasLineBreak(request.bearer.reveal())) return refuse("its access token holds a line break");
  for (const auto& [name, value] : request.headers)
    if (!isToken(name) || hasLineBreak(value)) return refuse("one of its headers is malformed");
  if (request.url.size() > longestURL) return refuse("its URL is too long");
  if (!isPrintable(request.url) || hostIsMissing(request.url)) return malformedURLError();
  return std::nullopt;
}

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  const CURLUcode code = curl_url_get(url, which, &text, flags);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();  // or a part would count as absent
  if (code != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
  return text;
}

bool isLoopback(std::string host) {
  if (host == "localhost") return true;
  if (in_addr v4{}; inet_pton(AF_INET, host.c_str(), &v4) == 1)
    return (ntohl(v4.s_addr) >> 24) == 127;
  if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  in6_addr v6{};
  return inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

}  // namespace

Vetted RequestTarget::vet(const HTTPRequest& request) {
  if (auto error = badRequest(request)) return Vetted::failure(*std::move(error));
  RequestTarget target;
  target.url.reset(curl_url());
  CURLU* const url = target.url.get();
  if (!url) throw std::bad_alloc();
  const CURLUcode code = curl_url_set(url, CURLUPART_URL, request.url.c_str(),
                                      CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return Vetted::failure(malformedURLError());
  const std::string scheme = part(url, CURLUPART_SCHEME);
  const std::string host = part(url, CURLUPART_HOST);
  const std::string port = part(url, CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  target.display = port.empty() ? host : host + ":" + port;
  target.secure = scheme == "https";
  target.loopback = isLoopback(host);

  const auto refuse = [&](std::string_view why, std::string_view remedy) {
    return Vetted::failure(urlError::make(urlError::unsupportedURL,
                                          "The request to " + target.display + " was not sent", why,
                                          remedy));
  };
  if (!part(url, CURLUPART_USER).empty() || !part(url, CURLUPART_PASSWORD).empty())
    return refuse("its URL holds a user name or a password", "Take them out of the URL.");
  if (!target.secure && scheme != "http")
    return refuse("only https is spoken", "Give a URL that begins with https://.");
  if (!target.secure && !target.loopback)
    return refuse("plain http would show its contents to the network",
                  "Use https; http is for localhost and loopback addresses only.");
  return Vetted::success(std::move(target));
}

}  // namespace corvane
