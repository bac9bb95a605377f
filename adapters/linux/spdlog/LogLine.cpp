#include "spdlog/LogLine.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace corvane {
namespace {

struct Character {
  char32_t value;
  std::size_t length;  // in bytes; 0 if the bytes are not UTF-8
};

// RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF.
Character firstCharacter(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {0, 0};
  char32_t value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return {0, 0};
    value = (value << 6U) | (byte(i) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  if (value < least[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return {0, 0};
  return {value, length};
}

bool breaksLine(char32_t value) {
  return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x2028 || value == 0x2029;
}

void appendHexadecimal(std::string& line, std::uint32_t value) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), value, 16).ptr;
  line.append(digits.begin(), end);
}

void appendEscape(std::string& line, char32_t value) {
  switch (value) {
    case '\n':
      line += "\\n";
      return;
    case '\r':
      line += "\\r";
      return;
    case '\t':
      line += "\\t";
      return;
    default:
      line += "\\u{";
      appendHexadecimal(line, value);
      line += '}';
  }
}

}  // namespace

void appendEscaped(std::string& line, std::string_view text) {
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (character.length == 0) {
      line += "\\x";
      appendHexadecimal(line, static_cast<unsigned char>(text.front()));
    } else if (breaksLine(character.value)) {
      appendEscape(line, character.value);
    } else {
      line.append(text.substr(0, character.length));
    }
    text.remove_prefix(character.length == 0 ? 1 : character.length);
  }
}

}  // namespace corvane
