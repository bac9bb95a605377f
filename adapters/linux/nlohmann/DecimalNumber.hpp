#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

/// A decimal number times a power of ten, as an integer.
struct ScaledDecimal {
  bool negative = false;
  std::uint64_t magnitude = 0;
  bool exact = true;  // false if digits were rounded off, halves away from zero
};

/// Reads a JSON number (RFC 8259 section 6) times 10^`scale`, digit by digit, so that no binary fraction comes in
/// between. Nothing if the result is out of range.
std::optional<ScaledDecimal> readDecimal(std::string_view number, int scale);

/// The number as a 64-bit integer; nothing if it has a fraction or is out of range.
std::optional<std::int64_t> integerFrom(const ScaledDecimal& number);

}  // namespace corvane
