#pragma once

#include <Corvane/KeyedCoding.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace corvane::cli {

/// A record as one line of JSON (RFC 8259), without the line's end: keys as its coding keys, times in RFC 3339.
std::string encodedLine(const std::function<void(Encoder&)>& encode);

template <class Value>
std::string jsonLine(const Value& value) {
  return encodedLine([&value](Encoder& encoder) { value.encode(encoder); });
}

/// One of the program's own objects.
std::string jsonObject(const std::function<void(KeyedEncodingContainer&)>& fill);

/// A text between quotes. What could harm a terminal is written as \uXXXX; bytes that are not UTF-8 become U+FFFD.
std::string jsonText(std::string_view text);

}  // namespace corvane::cli
