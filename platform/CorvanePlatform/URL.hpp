#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// A text that parses as an absolute URL: a scheme, a host, and no character that RFC 3986 keeps out of URLs.
class URL {
 public:
  static std::optional<URL> parse(std::string_view text) {
    const auto separator = text.find("://");
    if (separator == std::string_view::npos || !isScheme(text.substr(0, separator))) return std::nullopt;
    const auto rest = text.substr(separator + 3);
    const auto host = rest.substr(0, rest.find_first_of("/?#"));
    if (host.empty() || !std::all_of(rest.begin(), rest.end(), isAllowed)) return std::nullopt;
    return URL(std::string(text));
  }

  const std::string& absoluteString() const { return text_; }
  bool operator==(const URL&) const = default;

 private:
  explicit URL(std::string text) : text_(std::move(text)) {}

  static bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }
  static bool isScheme(std::string_view text) {
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
      return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
  }
  static bool isAllowed(char c) {
    return isLetter(c) || isDigit(c) ||
           std::string_view("-._~:/?#[]@!$&'()*+,;=%").find(c) != std::string_view::npos;
  }

  std::string text_;
};

}  // namespace corvane
