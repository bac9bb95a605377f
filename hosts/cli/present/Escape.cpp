#include "Escape.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <charconv>
#include <vector>

namespace corvane::cli {
namespace {

constexpr std::int32_t zeroWidthNonJoiner = 0x200C;  // both are needed to write some scripts and emoji
constexpr std::int32_t zeroWidthJoiner = 0x200D;

std::string hexadecimal(std::uint32_t number, std::size_t digits) {
  char text[8];
  const auto end = std::to_chars(text, text + sizeof text, number, 16).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  return std::string(digits > length ? digits - length : 0, '0') + std::string(text, length);
}

std::string escapeSequence(const TextPiece& piece) {
  if (piece.character < 0) return "\\x" + hexadecimal(static_cast<unsigned char>(piece.bytes.front()), 2);
  switch (piece.character) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  const auto character = static_cast<std::uint32_t>(piece.character);
  if (character < 0x80) return "\\x" + hexadecimal(character, 2);
  return "\\u{" + hexadecimal(character, 4) + "}";
}

std::string escaped(std::string_view text, bool doubleBackslash) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const TextPiece piece = takePiece(text);
    if (piece.character < 0 || isHostile(piece.character))
      out += escapeSequence(piece);
    else if (piece.character == '\\' && doubleBackslash)
      out += "\\\\";
    else
      out += piece.bytes;
  }
  return out;
}

std::size_t columns(const TextPiece& piece) {
  return piece.character < 0 ? 1 : static_cast<std::size_t>(std::max(0, utf8proc_charwidth(piece.character)));
}

}  // namespace

TextPiece takePiece(std::string_view& text) {
  utf8proc_int32_t character = -1;
  std::size_t taken = 1;
  if (static_cast<unsigned char>(text.front()) < 0x80) {
    character = text.front();
  } else {
    const auto limit = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size(), 4));
    const auto length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()), limit, &character);
    if (length > 0)
      taken = static_cast<std::size_t>(length);
    else
      character = -1;
  }
  const TextPiece piece{text.substr(0, taken), character};
  text.remove_prefix(taken);
  return piece;
}

bool isHostile(std::int32_t character) {
  if (character >= 0x20 && character < 0x7F) return false;
  if (character == zeroWidthNonJoiner || character == zeroWidthJoiner) return false;
  switch (utf8proc_category(character)) {
    case UTF8PROC_CATEGORY_CC:  // controls
    case UTF8PROC_CATEGORY_CF:  // among them the bidirectional overrides
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return false;
  }
}

std::string escapedName(std::string_view name) {
  return escaped(name, true);
}

std::string escapedProse(std::string_view text) {
  return escaped(text, false);
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) width += columns(takePiece(text));
  return width;
}

std::string shortened(std::string_view text, std::size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  if (width == 0) return {};
  std::vector<TextPiece> pieces;
  for (std::string_view rest = text; !rest.empty();) pieces.push_back(takePiece(rest));

  const std::size_t room = width - 1;  // "…" takes the other column
  const std::size_t headRoom = room - room / 3;
  std::size_t used = 0;
  std::string head;
  for (const auto& piece : pieces) {
    if (used + columns(piece) > headRoom) break;
    used += columns(piece);
    head += piece.bytes;
  }
  std::size_t tailStart = text.size();
  for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
    if (used + columns(*piece) > room) break;
    used += columns(*piece);
    tailStart -= piece->bytes.size();
  }
  return head + "…" + std::string(text.substr(tailStart));
}

}  // namespace corvane::cli
