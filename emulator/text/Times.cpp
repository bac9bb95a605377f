#include "text/Times.hpp"

#include <array>
#include <string_view>

namespace corvane::emulator {
namespace {

/// At least `width` digits.
std::string digits(long long value, std::size_t width) {
  std::string text = std::to_string(value);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text;
}

struct Fields {
  explicit Fields(Instant instant)
      : day(std::chrono::floor<std::chrono::days>(instant)),
        date(day),
        time(std::chrono::floor<std::chrono::milliseconds>(instant - day)) {}

  std::string clock() const {
    return digits(time.hours().count(), 2) + ":" + digits(time.minutes().count(), 2) + ":" +
           digits(time.seconds().count(), 2);
  }
  std::string dayOfMonth() const { return digits(static_cast<unsigned>(date.day()), 2); }

  std::chrono::sys_days day;
  std::chrono::year_month_day date;
  std::chrono::hh_mm_ss<std::chrono::milliseconds> time;
};

}  // namespace

std::string rfc3339(Instant instant) {
  const Fields fields(instant);
  return digits(static_cast<int>(fields.date.year()), 4) + "-" +
         digits(static_cast<unsigned>(fields.date.month()), 2) + "-" + fields.dayOfMonth() + "T" +
         fields.clock() + "." + digits(fields.time.subseconds().count(), 3) + "Z";
}

std::string httpDate(Instant instant) {
  constexpr std::array<std::string_view, 7> days = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const Fields fields(instant);
  std::string text(days[std::chrono::weekday(fields.day).c_encoding()]);
  text += ", " + fields.dayOfMonth() + " ";
  text += months[static_cast<unsigned>(fields.date.month()) - 1];
  return text + " " + digits(static_cast<int>(fields.date.year()), 4) + " " + fields.clock() + " GMT";
}

}  // namespace corvane::emulator
