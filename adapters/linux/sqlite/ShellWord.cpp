#include "ShellWord.hpp"

#include <algorithm>

namespace corvane {
namespace {

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7f;
}

std::string octal(char character) {
  const auto byte = static_cast<unsigned>(static_cast<unsigned char>(character));
  std::string digits = "\\";
  for (const unsigned shift : {6U, 3U, 0U}) digits += static_cast<char>('0' + ((byte >> shift) & 7U));
  return digits;
}

std::string quoted(std::string_view text) {
  std::string word = "'";
  for (const char character : text)
    word += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return word + "'";
}

}  // namespace

std::string shellWord(std::string_view text) {
  if (std::ranges::none_of(text, isControl)) return quoted(text);
  std::string format;
  for (const char character : text) {
    if (isControl(character)) {
      format += octal(character);
    } else {
      if (character == '\\' || character == '%') format += character;
      format += character;
    }
  }
  return "\"$(printf " + quoted(format) + ")\"";
}

}  // namespace corvane
