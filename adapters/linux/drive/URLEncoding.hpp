#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
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
inline void appendParameter(std::string& url, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  while (!text.empty()) {
    const auto reserved = std::find_if(
        text.begin(), text.end(), [](char c) { return !unreservedBytes[static_cast<unsigned char>(c)]; });
    url.append(text.begin(), reserved);
    if (reserved == text.end()) return;
    const auto byte = static_cast<unsigned char>(*reserved);
    const std::array<char, 3> code{'%', digits[byte >> 4U], digits[byte & 0xFU]};
    url.append(code.data(), code.size());
    text.remove_prefix(static_cast<std::size_t>(reserved - text.begin()) + 1);
  }
}

inline std::string encodedParameter(std::string_view text) {
  std::string encoded;
  appendParameter(encoded, text);
  return encoded;
}

/// The same for one segment of a path: "." and ".." would otherwise be taken as steps through it.
inline std::string encodedSegment(std::string_view segment) {
  if (segment == ".") return "%2E";
  if (segment == "..") return "%2E%2E";
  return encodedParameter(segment);
}

}  // namespace corvane
