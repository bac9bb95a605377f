#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>

namespace corvane {

namespace detail {

// Supplied by the linked platform: equality and hash of any two texts by Unicode canonical equivalence. Bytes
// that are not UTF-8 are equal only to the same bytes.
bool canonicallyEqual(std::string_view left, std::string_view right);
std::size_t canonicalHash(std::string_view text);

inline bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace detail

/// Text equality as users see it: Unicode canonical equivalence (UAX #15), case kept.
inline bool textEqual(std::string_view left, std::string_view right) {
  if (left == right) return true;
  if (detail::isASCII(left) && detail::isASCII(right)) return false;
  return detail::canonicallyEqual(left, right);
}

/// A hash that is the same for texts that are equal by `textEqual`.
inline std::size_t textHash(std::string_view text) {
  return detail::isASCII(text) ? std::hash<std::string_view>{}(text) : detail::canonicalHash(text);
}

/// `textEqual` and `textHash` for unordered containers.
struct TextEqual {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const { return textEqual(left, right); }
};
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return textHash(text); }
};

}  // namespace corvane
