#include "Times.hpp"

#include <cstdint>

namespace corvane::cli {
namespace {

std::string padded(std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number < 0 ? -number : number);
  return (number < 0 ? "-" : "") + std::string(digits > text.size() ? digits - text.size() : 0, '0') + text;
}

struct Parts {
  std::string day;
  std::string minute;
  std::int64_t microseconds;  // of the minute
};

Parts parts(Date date) {
  using namespace std::chrono;
  const auto midnight = floor<days>(date);
  const year_month_day day(midnight);
  const auto minute = floor<minutes>(date - midnight);
  return {padded(static_cast<int>(day.year()), 4) + "-" + padded(static_cast<unsigned>(day.month()), 2) +
              "-" + padded(static_cast<unsigned>(day.day()), 2),
          padded(minute.count() / 60, 2) + ":" + padded(minute.count() % 60, 2),
          (date - midnight - minute).count()};
}

}  // namespace

std::string rfc3339(Date date) {
  const Parts p = parts(date);
  const std::int64_t fraction = p.microseconds % 1'000'000;
  return p.day + "T" + p.minute + ":" + padded(p.microseconds / 1'000'000, 2) + "." +
         (fraction % 1000 == 0 ? padded(fraction / 1000, 3) : padded(fraction, 6)) + "Z";
}

std::string shortTime(Date date) {
  const Parts p = parts(date);
  return p.day + " " + p.minute;
}

}  // namespace corvane::cli
