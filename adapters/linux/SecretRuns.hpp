#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace corvane {

/// A server may repeat a secret that it was sent, whole or short of a few characters. A run of this
/// many characters of a secret is taken for the secret; the rest of one that was cut is too short
/// to be of use.
inline constexpr std::size_t shortestSecretRun = 16;

/// How many bytes at the beginning of the text repeat the secret: 16 or more of its characters in a
/// row, or the whole of a shorter secret. 0 when the text begins with something else.
inline std::size_t secretRun(std::string_view text, std::string_view secret) {
  const auto window = std::min(shortestSecretRun, secret.size());
  if (window == 0) return 0;
  const auto repeats = [&](std::size_t at) {
    return text.size() - at >= window && secret.find(text.substr(at, window)) != secret.npos;
  };
  if (!repeats(0)) return 0;
  std::size_t end = window;
  for (std::size_t at = 1; at < end; ++at)
    if (repeats(at)) end = at + window;
  return end;
}

}  // namespace corvane
