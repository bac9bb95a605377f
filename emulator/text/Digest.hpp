#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::emulator {

std::array<unsigned char, 32> sha256(std::string_view bytes);
/// Without padding (RFC 4648 section 5).
std::string base64URL(std::string_view bytes);
std::optional<std::string> fromBase64URL(std::string_view text);
/// BASE64URL(SHA256(verifier)), RFC 7636 section 4.2.
std::string s256Challenge(std::string_view verifier);
/// Twelve hexadecimal digits that tell two secrets apart without telling them.
std::string fingerprint(std::string_view secret);
/// That many random bytes in base64url.
std::string randomText(std::size_t bytes);
/// A fast, well mixed hash; not for secrets.
std::uint64_t mix(std::uint64_t a, std::uint64_t b);
std::uint64_t mix(std::uint64_t a, std::string_view text);

}  // namespace corvane::emulator
