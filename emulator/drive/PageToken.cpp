#include "drive/PageToken.hpp"

#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

constexpr std::string_view prefix = "~!!~";

}  // namespace

PageToken::PageToken(std::uint64_t seed, std::string_view context) : key_(mix(mix(seed, "page"), context)) {}

std::uint64_t PageToken::seal(std::uint64_t position) const {
  return mix(mix(key_, position), "seal");
}

std::string PageToken::write(std::uint64_t position) const {
  std::string raw;
  for (const auto value : {position ^ mix(key_, "place"), seal(position), mix(seal(position), 1)}) {
    for (unsigned shift = 0; shift < 64; shift += 8) raw += static_cast<char>((value >> shift) & 255U);
  }
  return std::string(prefix) + base64URL(raw);
}

std::optional<std::uint64_t> PageToken::read(std::string_view token) const {
  if (!token.starts_with(prefix)) return std::nullopt;
  const auto raw = fromBase64URL(token.substr(prefix.size()));
  if (!raw || raw->size() != 24) return std::nullopt;
  std::uint64_t value = 0;
  for (std::size_t i = 8; i-- > 0;) value = (value << 8U) | static_cast<unsigned char>((*raw)[i]);
  const auto position = value ^ mix(key_, "place");
  if (write(position) != token) return std::nullopt;
  return position;
}

}  // namespace corvane::emulator
