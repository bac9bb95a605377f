#include "Origin.hpp"

#include "CurlErrors.hpp"
#include "URLErrors.hpp"

#include <arpa/inet.h>

#include <new>
#include <utility>

namespace corvane {
namespace {

using Vetted = Result<std::shared_ptr<const Origin>, NSError>;

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  const CURLUcode code = curl_url_get(url, which, &text, flags);
  if (code == CURLUE_OUT_OF_MEMORY)
    throw std::bad_alloc();  // or a part would count as absent, for as long as it is kept
  if (code != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
  return text;
}

bool isLoopback(std::string host) {
  if (host == "localhost") return true;
  if (in_addr v4{}; inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  in6_addr v6{};
  return inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

}  // namespace

Vetted Origin::vet(std::string text) {
  const auto origin = std::make_shared<Origin>();
  origin->text = std::move(text);
  origin->url.reset(curl_url());
  CURLU* url = origin->url.get();
  if (!url) throw std::bad_alloc();
  const CURLUcode code = curl_url_set(url, CURLUPART_URL, origin->text.c_str(), CURLU_NON_SUPPORT_SCHEME);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return Vetted::failure(malformedURLError());
  const std::string scheme = part(url, CURLUPART_SCHEME);
  const std::string host = part(url, CURLUPART_HOST);
  const std::string port = part(url, CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  origin->display = port.empty() ? host : host + ":" + port;
  origin->secure = scheme == "https";
  origin->loopback = isLoopback(host);

  const auto refuse = [&](std::string_view why, std::string_view remedy) {
    return Vetted::failure(urlError::make(
        urlError::unsupportedURL, "The request to " + origin->display + " was not sent", why, remedy));
  };
  if (!part(url, CURLUPART_USER).empty() || !part(url, CURLUPART_PASSWORD).empty())
    return refuse("its URL holds a user name or a password", "Take them out of the URL.");
  if (!origin->secure && scheme != "http")
    return refuse("only https is spoken", "Give a URL that begins with https://.");
  if (!origin->secure && !origin->loopback)
    return refuse("plain http would show its contents to the network",
                  "Use https; http is for localhost and loopback addresses only.");
  return Vetted::success(origin);
}

Vetted Origins::vetted(std::string_view text) {
  if (auto origin = known(text)) return Vetted::success(std::move(origin));
  auto origin = Origin::vet(std::string(text));
  if (!origin) return origin;
  const std::lock_guard lock(mutex_);
  latest_[next_] = origin.value();
  next_ = (next_ + 1) % latest_.size();
  return origin;
}

std::shared_ptr<const Origin> Origins::known(std::string_view text) {
  const std::lock_guard lock(mutex_);
  for (const auto& each : latest_)
    if (each && each->text == text) return each;
  return nullptr;
}

}  // namespace corvane
