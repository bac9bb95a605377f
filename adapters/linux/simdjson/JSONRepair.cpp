#include "JSONRepair.hpp"

#include <HTTPClient.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace corvane {
namespace {

constexpr std::string_view replacementCharacter = "\\ufffd";  // as long as the escape that it replaces
constexpr std::size_t escapeLength = 6;                       // of \uXXXX

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The code unit of an escape \uXXXX at `at`, or nothing.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t at) {
  if (text.size() - at < escapeLength || text[at] != '\\' || text[at + 1] != 'u') return std::nullopt;
  unsigned unit = 0;
  const char* const end = text.data() + at + escapeLength;
  const auto [stop, error] = std::from_chars(text.data() + at + 2, end, unit, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return unit;
}

bool isHighSurrogate(unsigned unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(unsigned unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The length of the number at the front of `text` by JSON's grammar (RFC 8259 section 6), 0 if there is none.
std::size_t numberLength(std::string_view text) {
  std::size_t at = 0;
  const auto digits = [&] {
    const std::size_t first = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return at > first;
  };
  if (at < text.size() && text[at] == '-') ++at;
  if (at < text.size() && text[at] == '0')
    ++at;
  else if (!digits())
    return 0;
  if (at < text.size() && text[at] == '.') {
    ++at;
    if (!digits()) return 0;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (!digits()) return 0;
  }
  return at;
}

template <class Number>
bool isOutOfRange(std::string_view text) {
  Number number{};
  return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc::result_out_of_range;
}

/// Whether simdjson, and any reader with 64-bit numbers, has no place for it.
bool isTooLarge(std::string_view number) {
  if (number.find_first_of(".eE") != number.npos) return isOutOfRange<double>(number);
  return isOutOfRange<std::int64_t>(number) && (number.front() == '-' || isOutOfRange<std::uint64_t>(number));
}

class Repair {
 public:
  explicit Repair(std::string_view text) : text_(text) { copy_.reserve(text.size() + HTTPResponse::padding); }

  std::optional<Data> result() {
    while (at_ < text_.size()) readToken();
    if (!hasReplaced_) return std::nullopt;
    return std::move(copy_);
  }

 private:
  void readToken() {
    const char c = text_[at_];
    if (c == '"')
      readText();
    else if (c == '-' || isDigit(c))
      readNumber();
    else
      keep(1);
  }

  void readText() {
    keep(1);
    while (at_ < text_.size() && text_[at_] != '"') readCharacter();
    keep(1);
  }

  void readCharacter() {
    if (text_[at_] != '\\') return keep(1);
    const auto unit = escapedUnit(text_, at_);
    if (!unit) return keep(2);  // another escape, such as \" which does not end the text
    if (isHighSurrogate(*unit)) {
      const auto next = escapedUnit(text_, at_ + escapeLength);
      return next && isLowSurrogate(*next) ? keep(2 * escapeLength)
                                           : replace(escapeLength, replacementCharacter);
    }
    return isLowSurrogate(*unit) ? replace(escapeLength, replacementCharacter) : keep(escapeLength);
  }

  void readNumber() {
    const std::size_t length = numberLength(text_.substr(at_));
    if (length == 0) return keep(1);
    if (isTooLarge(text_.substr(at_, length)))
      replace(length, "null");
    else
      keep(length);
  }

  void keep(std::size_t count) {
    append(text_.substr(at_, count));
    at_ = std::min(at_ + count, text_.size());
  }

  void replace(std::size_t count, std::string_view replacement) {
    append(replacement);
    at_ += count;
    hasReplaced_ = true;
  }

  void append(std::string_view text) {
    const auto* const bytes = reinterpret_cast<const std::byte*>(text.data());
    copy_.insert(copy_.end(), bytes, bytes + text.size());
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  Data copy_;
  bool hasReplaced_ = false;
};

}  // namespace

std::optional<Data> repairedJSON(const Data& body) {
  return Repair({reinterpret_cast<const char*>(body.data()), body.size()}).result();
}

}  // namespace corvane
