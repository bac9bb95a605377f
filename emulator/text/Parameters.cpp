#include "text/Parameters.hpp"

#include <algorithm>
#include <array>
#include <charconv>

#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

constexpr std::array<std::string_view, 10> secretNames = {
    "access_token",  "refresh_token", "token", "code",  "client_secret",
    "code_verifier", "id_token",      "state", "nonce", "request"};

bool unreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

/// Calls `use` for every `name=value` between ampersands, undecoded.
template <class Use>
void eachPair(std::string_view text, Use use) {
  while (!text.empty()) {
    const auto end = std::min(text.find('&'), text.size());
    const auto pair = text.substr(0, end);
    const auto equals = std::min(pair.find('='), pair.size());
    use(pair.substr(0, equals), pair.substr(std::min(equals + 1, pair.size())));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    if (unreserved(c)) {
      result += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4U], digits[byte & 15U]};
  }
  return result;
}

std::optional<std::string> percentDecoded(std::string_view text, bool plusIsSpace) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+' && plusIsSpace) {
      result += ' ';
    } else if (text[i] == '%') {
      unsigned byte = 0;
      const auto* first = text.data() + i + 1;
      if (i + 2 >= text.size() || std::from_chars(first, first + 2, byte, 16).ptr != first + 2) {
        return std::nullopt;
      }
      result += static_cast<char>(byte);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::optional<Parameters> Parameters::parse(std::string_view text) {
  Parameters parameters;
  bool sound = true;
  eachPair(text, [&](std::string_view name, std::string_view value) {
    auto decodedName = percentDecoded(name, true);
    auto decodedValue = percentDecoded(value, true);
    sound = sound && decodedName && decodedValue && !decodedName->empty() && !parameters.find(*decodedName);
    if (sound) parameters.entries_.emplace_back(std::move(*decodedName), std::move(*decodedValue));
  });
  if (!sound) return std::nullopt;
  return parameters;
}

std::optional<std::string_view> Parameters::find(std::string_view name) const {
  for (const auto& [key, value] : entries_) {
    if (key == name) return value;
  }
  return std::nullopt;
}

std::string redactedParameters(std::string_view text) {
  std::string result;
  eachPair(text, [&](std::string_view name, std::string_view value) {
    if (!result.empty()) result += '&';
    const bool secret = std::ranges::find(secretNames, name) != secretNames.end();
    result.append(name).append("=");
    if (secret) {
      result += fingerprint(percentDecoded(value, true).value_or(std::string(value)));
    } else {
      result += value;
    }
  });
  return result;
}

}  // namespace corvane::emulator
