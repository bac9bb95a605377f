#include "OneLine.hpp"

#include <SecretRuns.hpp>

namespace corvane {
namespace {

enum class Treatment { keep, space, replace };

/// The length in bytes of the UTF-8 sequence that begins with this byte.
std::size_t sequenceLength(unsigned char first) {
  return first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

Treatment treatment(std::string_view sequence) {
  const auto byte = [sequence](std::size_t i) { return static_cast<unsigned char>(sequence[i]); };
  if (sequence.size() == 1) {
    if (byte(0) == '\t' || byte(0) == '\n' || byte(0) == '\r' || byte(0) == '\v' || byte(0) == '\f')
      return Treatment::space;
    return byte(0) < 0x20 || byte(0) == 0x7F ? Treatment::replace : Treatment::keep;
  }
  if (sequence.size() == 2 && byte(0) == 0xC2 && byte(1) < 0xA0)  // U+0080 to U+009F; U+0085 is "next line"
    return byte(1) == 0x85 ? Treatment::space : Treatment::replace;
  if (sequence.size() != 3 || byte(0) != 0xE2) return Treatment::keep;
  if (byte(1) == 0x80) {
    if (byte(2) == 0xA8 || byte(2) == 0xA9) return Treatment::space;                   // U+2028, U+2029
    if (byte(2) == 0x8E || byte(2) == 0x8F) return Treatment::replace;                 // U+200E, U+200F
    return byte(2) >= 0xAA && byte(2) <= 0xAE ? Treatment::replace : Treatment::keep;  // U+202A to U+202E
  }
  return byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9 ? Treatment::replace  // U+2066 to U+2069
                                                               : Treatment::keep;
}

std::string_view shown(std::string_view sequence) {
  switch (treatment(sequence)) {
    case Treatment::keep:
      return sequence;
    case Treatment::space:
      return " ";
    case Treatment::replace:
      break;
  }
  return "\uFFFD";
}

}  // namespace

std::string oneLine(std::string_view text, std::string_view secret, std::size_t maximumBytes) {
  std::string line;
  while (!text.empty()) {
    std::string_view part = "…";
    if (const auto run = secretRun(text, secret); run > 0) {
      text.remove_prefix(run);
    } else {
      const auto sequence =
          text.substr(0, sequenceLength(static_cast<unsigned char>(text.front())));
      text.remove_prefix(sequence.size());
      part = shown(sequence);
    }
    if (line.size() + part.size() > maximumBytes) return line + "…";
    line += part;
  }
  return line;
}

}  // namespace corvane
