#pragma once

#include <Corvane/Date.hpp>

#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Points in time as RFC 3339 writes them, read exactly.
///
/// The standard library at hand cannot read them, and what reads almost them (strptime, streams) follows the
/// locale. Fractions finer than a microsecond are cut off. A leap second (RFC 3339, appendix D) becomes the
/// first second of the next day, because a count of seconds has no other place for it. Results stay within
/// the years 0000 to 9999, in UTC.
namespace corvane {

namespace detail {

/// Takes a text apart from its front; once something does not fit, `ok` stays false.
struct TimeText {
  std::string_view rest;
  bool ok = true;

  /// Exactly `digits` decimal digits.
  constexpr int number(std::size_t digits) {
    int value = 0;
    if (rest.size() < digits) return fail();
    for (const char c : rest.substr(0, digits)) {
      if (c < '0' || c > '9') return fail();
      value = value * 10 + (c - '0');
    }
    rest.remove_prefix(digits);
    return value;
  }

  /// One character out of `choices`.
  constexpr char oneOf(std::string_view choices) {
    if (rest.empty() || choices.find(rest.front()) == std::string_view::npos) {
      fail();
      return '\0';
    }
    const char c = rest.front();
    rest.remove_prefix(1);
    return c;
  }

  /// ".5", ".250", ".123456789": microseconds; nothing at all is zero.
  constexpr std::chrono::microseconds fraction() {
    if (rest.empty() || rest.front() != '.') return {};
    rest.remove_prefix(1);
    int micros = 0;
    std::size_t count = 0;
    for (; count < rest.size() && rest[count] >= '0' && rest[count] <= '9'; ++count)
      if (count < 6) micros = micros * 10 + (rest[count] - '0');
    if (count == 0) fail();
    for (std::size_t place = count; place < 6; ++place) micros *= 10;
    rest.remove_prefix(count);
    return std::chrono::microseconds{micros};
  }

  /// "Z", "+05:30": how far the local time is ahead of UTC.
  constexpr std::chrono::minutes offset() {
    const char sign = oneOf("Zz+-");
    if (!ok || sign == 'Z' || sign == 'z') return {};
    const int hours = number(2);
    oneOf(":");
    const int minutes = number(2);
    if (hours > 23 || minutes > 59) fail();
    const auto ahead = std::chrono::minutes{hours * 60 + minutes};
    return sign == '-' ? -ahead : ahead;
  }

  constexpr int fail() {
    ok = false;
    return 0;
  }
};

/// Eight characters side by side in one number, so that one step works on all of them; the first is the lowest byte.
constexpr std::uint64_t eightOf(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return std::uint64_t{static_cast<unsigned char>(text[at + i])} << (8 * i);
  };
  return byte(0) | byte(1) | byte(2) | byte(3) | byte(4) | byte(5) | byte(6) | byte(7);
}

/// Eight characters of a time, beside a pattern such as "0000-00-" where each 0 stands for any digit.
template <std::size_t at>
class EightCharacters {
 public:
  constexpr explicit EightCharacters(std::string_view text)
      : values_(eightOf(text, at) ^ eightOf(pattern, at)) {}

  /// Whose highest bits are clear when the characters fit the pattern: a digit has become its value, at most 9, and any
  /// other character of the pattern 0; what is more overflows into the highest bit of its byte.
  constexpr std::uint64_t misfits() const { return (values_ + headroom) | values_; }

  constexpr unsigned digit(std::size_t place) const { return valueAt(values_, place); }
  /// The number of two digits that begins there.
  constexpr unsigned two(std::size_t place) const { return valueAt(values_ * 10 + (values_ >> 8), place); }

 private:
  static constexpr std::string_view pattern = "0000-00-00T00:00:00.000Z";
  static constexpr std::uint64_t headroom = [] {
    std::uint64_t room = 0;
    for (std::size_t i = 0; i < 8; ++i)
      room |= std::uint64_t{pattern[at + i] == '0' ? 0x7FU - 9 : 0x7FU} << (8 * i);
    return room;
  }();

  static constexpr unsigned valueAt(std::uint64_t bytes, std::size_t place) {
    return static_cast<unsigned>(bytes >> (8 * (place - at))) & 0xFF;
  }

  std::uint64_t values_;
};

/// Any form that RFC 3339 allows.
constexpr std::optional<Date> parseAnyTime(std::string_view text) {
  using namespace std::chrono;
  TimeText in{text};
  const int y = in.number(4);
  in.oneOf("-");
  const int m = in.number(2);
  in.oneOf("-");
  const int d = in.number(2);
  in.oneOf("Tt");
  const int hour = in.number(2);
  in.oneOf(":");
  const int minute = in.number(2);
  in.oneOf(":");
  const int second = in.number(2);
  const microseconds fraction = in.fraction();
  const minutes ahead = in.offset();

  const year_month_day day{year{y}, month{static_cast<unsigned>(m)},
                           std::chrono::day{static_cast<unsigned>(d)}};
  if (!in.ok || !in.rest.empty() || !day.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;

  const auto startOfMinute = sys_days{day} + hours{hour} + minutes{minute} - ahead;
  const bool lastOfDay = startOfMinute + minutes{1} == ceil<days>(startOfMinute + minutes{1});
  if (second == 60 && !lastOfDay) return std::nullopt;

  const Date date = startOfMinute + seconds{second} + fraction;
  constexpr Date first = sys_days{year{0} / January / 1};
  constexpr Date end = sys_days{year{10'000} / January / 1};
  if (date < first || date >= end) return std::nullopt;
  return date;
}

}  // namespace detail

/// Reads the form in which Drive writes all its times, "2024-05-06T07:08:09.123Z": a listing has two in every file.
/// False for any other form, which may still be a time.
constexpr bool readUsualTime(Date& date, std::string_view text) {
  using namespace std::chrono;
  if (text.size() != 24) return false;
  const detail::EightCharacters<0> first(text);
  const detail::EightCharacters<8> middle(text);
  const detail::EightCharacters<16> last(text);
  constexpr std::uint64_t highestBits = 0x8080'8080'8080'8080;
  if ((first.misfits() | middle.misfits() | last.misfits()) & highestBits) return false;

  const unsigned hour = middle.two(11);
  const unsigned minute = middle.two(14);
  const unsigned second = last.two(17);
  const unsigned millisecond = last.digit(20) * 100 + last.two(21);
  const year_month_day day{year{static_cast<int>(first.two(0) * 100 + first.two(2))}, month{first.two(5)},
                           std::chrono::day{middle.two(8)}};
  if (hour > 23 || minute > 59 || second > 59 || !day.ok()) return false;
  date = sys_days{day} + milliseconds{(hour * 3600 + minute * 60 + second) * 1000 + millisecond};
  return true;
}

/// The point in time that the text tells, or nothing when it is not one by RFC 3339, section 5.6.
constexpr std::optional<Date> parseRFC3339(std::string_view text) {
  Date date;
  if (readUsualTime(date, text)) return date;
  return detail::parseAnyTime(text);
}

/// The text of a point in time, in UTC with as many digits as it needs: milliseconds at least, as Drive
/// writes them.
inline std::string formatRFC3339(Date date) {
  using namespace std::chrono;
  const auto dayStart = floor<days>(date);
  const year_month_day day{dayStart};
  const hh_mm_ss time{date - dayStart};

  std::string text;
  const auto append = [&text](auto number, std::size_t digits, char before) {
    std::array<char, 20> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    const auto length = static_cast<std::size_t>(end - buffer.data());
    if (before != '\0') text += before;
    if (length < digits) text.append(digits - length, '0');
    text.append(buffer.data(), length);
  };
  append(static_cast<int>(day.year()), 4, '\0');
  append(static_cast<unsigned>(day.month()), 2, '-');
  append(static_cast<unsigned>(day.day()), 2, '-');
  append(time.hours().count(), 2, 'T');
  append(time.minutes().count(), 2, ':');
  append(time.seconds().count(), 2, ':');
  const auto micros = time.subseconds().count();
  if (micros % 1000 == 0)
    append(micros / 1000, 3, '.');
  else
    append(micros, 6, '.');
  return text + 'Z';
}

}  // namespace corvane
