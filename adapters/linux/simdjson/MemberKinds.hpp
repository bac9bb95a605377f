#pragma once

#include <RFC3339.hpp>

#include <simdjson.h>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reading one value as one kind. A value of another kind leaves the target as it is: absent.
namespace corvane {

inline void readText(std::optional<std::string>& target, simdjson::dom::element value) {
  std::string_view text;
  if (!value.get(text)) target.emplace(text);
}

inline void readText(std::optional<std::string_view>& target, simdjson::dom::element value) {
  std::string_view text;
  if (!value.get(text)) target.emplace(text);
}

inline void readText(std::string& target, simdjson::dom::element value) {
  std::string_view text;
  if (!value.get(text)) target.assign(text);
}

inline void readFlag(std::optional<bool>& target, simdjson::dom::element value) {
  bool flag = false;
  if (!value.get(flag)) target = flag;
}

/// A whole number that was written with a point or an exponent, such as 5.0 or 1e3. Beyond 2^53 a double has lost
/// digits (RFC 8259 section 6), and the number counts as absent.
inline std::optional<std::int64_t> wholeNumber(double number) {
  constexpr double surelyExact = 9007199254740992.0;  // 2^53
  if (!(std::abs(number) <= surelyExact) || std::trunc(number) != number) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

/// Google writes an int64 as text, because other clients' numbers are doubles; a plain number is as good.
inline void readInteger(std::optional<std::int64_t>& target, simdjson::dom::element value) {
  std::int64_t number = 0;
  if (!value.get(number)) {
    target = number;
    return;
  }
  if (double real = 0; value.is_double() && !value.get(real)) {
    target = wholeNumber(real);
    return;
  }
  std::string_view text;
  if (value.get(text)) return;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) target = number;
}

inline void readDate(std::optional<Date>& target, simdjson::dom::element value) {
  std::string_view text;
  if (value.get(text)) return;
  Date date;
  if (readUsualTime(date, text))
    target = date;
  else
    target = parseRFC3339(text);
}

/// Whether it is a list of texts. A list with anything else in it is of another kind as a whole: leaving entries out
/// would be a guess.
inline bool readTexts(std::vector<std::string_view>& texts, simdjson::dom::element value) {
  texts.clear();
  simdjson::dom::array array;
  if (value.get(array)) return false;
  for (const auto entry : array) {
    std::string_view text;
    if (entry.get(text)) return false;
    texts.push_back(text);
  }
  return true;
}

}  // namespace corvane
