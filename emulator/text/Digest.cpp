#include "text/Digest.hpp"

#include <openssl/rand.h>
#include <openssl/sha.h>

#include <stdexcept>

namespace corvane::emulator {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace

std::array<unsigned char, 32> sha256(std::string_view bytes) {
  std::array<unsigned char, 32> digest{};
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
  return digest;
}

std::string base64URL(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() * 4 + 2) / 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char byte : bytes) {
    bits = (bits << 8U) | static_cast<unsigned char>(byte);
    for (count += 8; count >= 6; count -= 6) {
      text += alphabet[(bits >> static_cast<unsigned>(count - 6)) & 63U];
    }
  }
  if (count > 0) text += alphabet[(bits << static_cast<unsigned>(6 - count)) & 63U];
  return text;
}

std::optional<std::string> fromBase64URL(std::string_view text) {
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const auto value = alphabet.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>((bits >> static_cast<unsigned>(count)) & 255U);
    }
  }
  return bytes;
}

std::string s256Challenge(std::string_view verifier) {
  const auto digest = sha256(verifier);
  return base64URL({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

std::string fingerprint(std::string_view secret) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto digest = sha256(secret);
  std::string text = "sha256:";
  for (std::size_t i = 0; i < 6; ++i) {
    text += digits[digest[i] >> 4U];
    text += digits[digest[i] & 15U];
  }
  return text;
}

std::string randomText(std::size_t bytes) {
  std::string raw(bytes, '\0');
  if (RAND_bytes(reinterpret_cast<unsigned char*>(raw.data()), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("OpenSSL has no random bytes");
  }
  return base64URL(raw);
}

// The finalizer of SplitMix64 (Steele, Lea, Flood 2014).
std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  std::uint64_t z = a ^ (b * 0x9E3779B97F4A7C15U + 0x9E3779B97F4A7C15U);
  z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31U);
}

std::uint64_t mix(std::uint64_t a, std::string_view text) {
  for (const char c : text) a = mix(a, static_cast<unsigned char>(c));
  return a;
}

}  // namespace corvane::emulator
