#pragma once

#include <Corvane/Date.hpp>

#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
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

/// The form in which Drive writes all its times, "2024-05-06T07:08:09.123Z", read at fixed places: a listing has two
/// in every file. Nothing for any other form, which may still be a time.
constexpr std::optional<Date> parseUsualTime(std::string_view text) {
  using namespace std::chrono;
  if (text.size() != 24) return std::nullopt;
  unsigned wrongDigits = 0;
  const auto digit = [&](std::size_t at) {
    const unsigned value = static_cast<unsigned char>(text[at]) - unsigned{'0'};
    wrongDigits |= value > 9;
    return value;
  };
  const auto two = [&](std::size_t at) { return digit(at) * 10 + digit(at + 1); };
  const unsigned y = two(0) * 100 + two(2);
  const unsigned m = two(5);
  const unsigned d = two(8);
  const unsigned hour = two(11);
  const unsigned minute = two(14);
  const unsigned second = two(17);
  const unsigned millisecond = digit(20) * 100 + two(21);
  const bool punctuated = text[4] == '-' && text[7] == '-' && text[10] == 'T' && text[13] == ':' &&
                          text[16] == ':' && text[19] == '.' && text[23] == 'Z';
  if (!punctuated || wrongDigits || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const year_month_day day{year{static_cast<int>(y)}, month{m}, std::chrono::day{d}};
  if (!day.ok()) return std::nullopt;
  return sys_days{day} + milliseconds{(hour * 3600 + minute * 60 + second) * 1000 + millisecond};
}

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

/// The point in time that the text tells, or nothing when it is not one by RFC 3339, section 5.6.
constexpr std::optional<Date> parseRFC3339(std::string_view text) {
  if (const auto usual = detail::parseUsualTime(text)) return usual;
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
