#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// RFC 3986, section 2.3: everything but letters, digits and "-._~" is written as %XX, byte by byte.
inline std::string encodedParameter(std::string_view text) {
  constexpr std::string_view unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (unreserved.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
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
