#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvane::cli {

/// One step through a text: a character, or one byte that is not UTF-8.
struct TextPiece {
  std::string_view bytes;
  std::int32_t character;  // -1 for a byte that is not UTF-8
};

/// Takes the first piece off a text that is not empty.
TextPiece takePiece(std::string_view& text);

/// Whether a character could move the cursor, reorder the line, end it or hide itself, and so make one name look like
/// another.
bool isHostile(std::int32_t character);

/// A name as one harmless line: hostile characters as \n, \t, \x1b or \u{202e}, foreign bytes as \xff. A backslash is
/// doubled, so that what is shown can be told apart from what is meant.
std::string escapedName(std::string_view name);

/// The same for prose, in which a backslash is left alone.
std::string escapedProse(std::string_view text);

/// How many terminal columns an escaped text takes.
std::size_t displayWidth(std::string_view text);

/// The text in at most `width` columns, its middle replaced by "…" when it is longer: both ends of a file name tell
/// something.
std::string shortened(std::string_view text, std::size_t width);

}  // namespace corvane::cli
