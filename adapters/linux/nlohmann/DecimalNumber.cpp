#include "nlohmann/DecimalNumber.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

namespace corvane {
namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// Exponents beyond this mean "out of range" or "zero" whatever the digits: a document is never that long.
constexpr std::int64_t hugeExponent = std::int64_t{1} << 50;

std::int64_t readExponent(std::string_view digits) {
  const bool negative = digits.starts_with('-');
  if (negative || digits.starts_with('+')) digits.remove_prefix(1);
  std::int64_t exponent = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  if (result.ec != std::errc{} || exponent > hugeExponent) exponent = hugeExponent;
  return negative ? -exponent : exponent;
}

std::optional<std::uint64_t> readMagnitude(std::string_view digits) {
  if (digits.empty()) return 0;
  std::uint64_t magnitude = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
  if (result.ec != std::errc{}) return std::nullopt;
  return magnitude;
}

}  // namespace

std::optional<ScaledDecimal> readDecimal(std::string_view number, int scale) {
  ScaledDecimal result;
  if (number.starts_with('-')) {
    result.negative = true;
    number.remove_prefix(1);
  }

  std::string digits;
  std::int64_t exponent = scale;
  bool afterPoint = false;
  for (std::size_t i = 0; i < number.size(); ++i) {
    if (isDigit(number[i])) {
      digits += number[i];
      if (afterPoint) --exponent;
    } else if (number[i] == 'e' || number[i] == 'E') {
      exponent += readExponent(number.substr(i + 1));
      break;
    } else {
      afterPoint = true;  // the parser hands on the locale's decimal point, whichever that is
    }
  }

  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.empty()) return result;

  constexpr std::size_t mostDigits = std::numeric_limits<std::uint64_t>::digits10 + 1;
  bool roundUp = false;
  if (exponent >= 0) {
    if (exponent > static_cast<std::int64_t>(mostDigits)) return std::nullopt;
    digits.append(static_cast<std::size_t>(exponent), '0');
  } else {
    const auto size = static_cast<std::int64_t>(digits.size());
    const auto kept = static_cast<std::size_t>(std::max<std::int64_t>(size + exponent, 0));
    result.exact = digits.find_first_not_of('0', kept) == std::string::npos;
    roundUp = size + exponent >= 0 && digits[kept] >= '5';
    digits.resize(kept);
  }

  const auto magnitude = readMagnitude(digits);
  if (!magnitude || (roundUp && *magnitude == std::numeric_limits<std::uint64_t>::max())) return std::nullopt;
  result.magnitude = *magnitude + (roundUp ? 1 : 0);
  return result;
}

std::optional<std::int64_t> integerFrom(const ScaledDecimal& number) {
  constexpr auto greatest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (!number.exact || number.magnitude > greatest + (number.negative ? 1 : 0)) return std::nullopt;
  // Unsigned arithmetic wraps where the least integer has no positive twin.
  return static_cast<std::int64_t>(number.negative ? 0 - number.magnitude : number.magnitude);
}

}  // namespace corvane
