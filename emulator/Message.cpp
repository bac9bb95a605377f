#include "Message.hpp"

#include <algorithm>

namespace corvane::emulator {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace

std::string_view Request::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalIgnoringCase(key, name)) return value;
  }
  return {};
}

std::string_view Request::query() const {
  const auto mark = target.find('?');
  return mark == std::string::npos ? std::string_view{} : std::string_view(target).substr(mark + 1);
}

bool Request::acceptsGzip() const {
  return header("Accept-Encoding").find("gzip") != std::string_view::npos &&
         header("User-Agent").find("gzip") != std::string_view::npos;
}

std::string_view Request::bearer() const {
  constexpr std::string_view scheme = "Bearer ";
  const auto value = header("Authorization");
  return value.starts_with(scheme) ? value.substr(scheme.size()) : std::string_view{};
}

Response Response::json(int status, std::string text) {
  return {.status = status,
          .headers = {{"Content-Type", "application/json; charset=UTF-8"}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(std::move(text))};
}

Response Response::html(int status, std::string markup) {
  return {.status = status,
          .headers = {{"Content-Type", "text/html; charset=utf-8"},
                      {"Cache-Control", "no-store"},
                      {"Content-Security-Policy",
                       "default-src 'none'; style-src 'unsafe-inline'; frame-ancestors 'none'"},
                      {"Referrer-Policy", "no-referrer"}},
          .body = std::make_shared<const std::string>(std::move(markup))};
}

}  // namespace corvane::emulator
