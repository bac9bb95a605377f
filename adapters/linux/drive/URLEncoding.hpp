#pragma once

#include <array>
#include <string>
#include <string_view>

namespace corvane {

/// Whether each byte stands for itself in a URL's component (RFC 3986, section 2.3, "unreserved").
inline constexpr std::array<bool, 256> unreservedBytes = [] {
  std::array<bool, 256> unreserved{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"))
    unreserved[static_cast<unsigned char>(c)] = true;
  return unreserved;
}();

/// RFC 3986, section 2.3: everything but letters, digits and "-._~" is written as %XX, byte by byte.
inline std::string encodedParameter(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size() + text.size() / 2);  // a list of fields is an eighth of punctuation
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (unreservedBytes[byte]) {
      encoded += c;
      continue;
    }
    encoded += '%';
    encoded += digits[byte >> 4U];
    encoded += digits[byte & 0xFU];
  }
  return encoded;
}

/// The same for one segment of a path: "." and ".." would otherwise be taken as steps through it.
inline std::string encodedSegment(std::string_view segment) {
  if (segment == ".") return "%2E";
  if (segment == "..") return "%2E%2E";
  return encodedParameter(segment);
}

}  // namespace corvane
