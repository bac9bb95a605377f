#pragma once

#include <RFC3339.hpp>

#include <simdjson.h>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reading one value as one kind. A value of another kind leaves the target as it is: absent.
namespace corvane {

inline void readText(std::optional<std::string>& target, const simdjson::dom::element& value) {
  std::string_view text;
  if (!value.get(text)) target.emplace(text);
}

inline void readText(std::string& target, const simdjson::dom::element& value) {
  std::string_view text;
  if (!value.get(text)) target.assign(text);
}

inline void readFlag(std::optional<bool>& target, const simdjson::dom::element& value) {
  bool flag = false;
  if (!value.get(flag)) target = flag;
}

/// Google writes an int64 as text, because other clients' numbers are doubles; a plain number is as good.
inline void readInteger(std::optional<std::int64_t>& target, const simdjson::dom::element& value) {
  std::int64_t number = 0;
  if (!value.get(number)) {
    target = number;
    return;
  }
  std::string_view text;
  if (value.get(text)) return;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) target = number;
}

inline void readDate(std::optional<Date>& target, const simdjson::dom::element& value) {
  std::string_view text;
  if (!value.get(text)) target = parseRFC3339(text);
}

/// A list with anything but texts in it is of another kind as a whole: leaving entries out would be a guess.
inline void readTexts(std::optional<std::vector<std::string>>& target, const simdjson::dom::element& value) {
  simdjson::dom::array array;
  if (value.get(array)) return;
  auto& texts = target.emplace();
  texts.reserve(std::min(array.size(), std::size_t{4}));  // nearly always one; a hostile list is not believed
  for (const auto entry : array) {
    std::string_view text;
    if (entry.get(text)) return target.reset();
    texts.emplace_back(text);
  }
}

}  // namespace corvane
