#include "OneUseAddress.hpp"

#include "ConstantTime.hpp"
#include "RandomText.hpp"
#include "RequestHead.hpp"

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

// Browsers send cookies to all ports of a host alike, so the cookie is for the random path only.
constexpr std::string_view cookieName = "corvane-visitor=";

// Fetch Standard, "Sec-Purpose"; the others are what it was called before.
bool isAhead(const RequestHead& head) {
  for (const auto* name : {"sec-purpose", "purpose", "x-purpose", "x-moz"})
    if (head.header(name).find("prefetch") != std::string_view::npos ||
        head.header(name).find("preview") != std::string_view::npos)
      return true;
  return false;
}

}  // namespace

OneUseAddress::OneUseAddress(std::string host)
    : host_(std::move(host)), path_("/" + std::string(randomText(16).reveal())), visitor_(randomText(16)) {}

std::string OneUseAddress::url() const {
  return "http://" + host_ + path_;
}

std::string OneUseAddress::cookieHeader() const {
  std::string header = "Set-Cookie: ";
  header.append(cookieName).append(visitor_.reveal()).append("; Path=").append(path_);
  return header.append("; Max-Age=3600; HttpOnly; SameSite=Lax\r\n");
}

OneUseAddress::Visit OneUseAddress::judge(std::string_view text, const std::function<bool()>& isStranger) {
  const auto head = RequestHead::parse(text);
  if (!head || head->host != host_ || !equalInConstantTime(head->path, path_)) return Visit::elsewhere;
  if (head->method != "GET") return Visit::methodNotAllowed;
  if (isAhead(*head)) return Visit::ahead;
  if (isStranger()) return Visit::stranger;
  const bool isFirst = !std::exchange(isVisited_, true);
  return isFirst || isSameVisitor(head->header("cookie")) ? Visit::welcome : Visit::second;
}

bool OneUseAddress::isSameVisitor(std::string_view cookies) const {
  while (!cookies.empty()) {
    auto cookie = cookies.substr(0, cookies.find(';'));
    cookies.remove_prefix(std::min(cookie.size() + 1, cookies.size()));
    cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
    if (cookie.starts_with(cookieName) &&
        equalInConstantTime(cookie.substr(cookieName.size()), visitor_.reveal()))
      return true;
  }
  return false;
}

}  // namespace corvane
