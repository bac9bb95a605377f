#include <RFC3339.hpp>

#include <gtest/gtest.h>

#include <string>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;
using std::chrono::year;

constexpr Date day(int y, unsigned m, unsigned d) {
  return sys_days{year{y} / static_cast<int>(m) / static_cast<int>(d)};
}

TEST(RFC3339, DrivesMillisecondTimesAreExact) {
  EXPECT_EQ(parseRFC3339("2024-01-31T12:34:56.789Z"), day(2024, 1, 31) + 12h + 34min + 56s + 789ms);
}

TEST(RFC3339, AnyOtherCharacterInDrivesFormIsReadAsInAnyForm) {
  const std::string usual = "2024-02-29T23:59:59.999Z";
  for (std::size_t at = 0; at < usual.size(); ++at)
    for (int character = 0; character < 256; ++character) {
      std::string text = usual;
      text[at] = static_cast<char>(character);
      EXPECT_EQ(parseRFC3339(text), detail::parseAnyTime(text)) << at << " " << character;
    }
}

TEST(RFC3339, TimesInDrivesFormAreHeldToTheCalendarAndTheClock) {
  EXPECT_EQ(parseRFC3339("2024-02-29T23:59:59.999Z"), day(2024, 3, 1) - 1ms);
  EXPECT_EQ(parseRFC3339("0000-01-01T00:00:00.000Z"), day(0, 1, 1));
  EXPECT_EQ(parseRFC3339("2016-12-31T23:59:60.000Z"), day(2017, 1, 1));
  for (const auto* text :
       {"2023-02-29T00:00:00.000Z", "2024-00-01T00:00:00.000Z", "2024-13-01T00:00:00.000Z",
        "2024-01-00T00:00:00.000Z", "2024-01-01T24:00:00.000Z", "2024-01-01T00:60:00.000Z",
        "2024-01-01T00:00:61.000Z", "2024-01-01T00:00:0:.000Z", "2024-01-01T00:00:00.00/Z",
        "2O24-01-01T00:00:00.000Z", "2024-01-01 00:00:00.000Z", "2024/01-01T00:00:00.000Z",
        "2024-01-01T00:00:00,000Z", "2024-01-01T00:00:00.000z!", "2024-01-01T00:00:00.000X"})
    EXPECT_FALSE(parseRFC3339(text)) << text;
}

TEST(RFC3339, TimesInDrivesFormAreReadAsAnyOthersWhateverByteStandsAtAnyPlace) {
  const std::string time = "2024-11-22T13:34:56.789Z";
  for (std::size_t place = 0; place < time.size(); ++place)
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = time;
      changed[place] = static_cast<char>(byte);
      EXPECT_EQ(parseRFC3339(changed), detail::parseAnyTime(changed))
          << "place " << place << ", byte " << byte;
      changed[(place + 1) % changed.size()] = static_cast<char>(255 - byte);
      EXPECT_EQ(parseRFC3339(changed), detail::parseAnyTime(changed))
          << "place " << place << ", byte " << byte;
    }
}

TEST(RFC3339, ATimeWithoutAFractionIsAWholeSecond) {
  EXPECT_EQ(parseRFC3339("2024-01-31T12:34:56Z"), day(2024, 1, 31) + 12h + 34min + 56s);
}

TEST(RFC3339, FractionsFinerThanAMicrosecondAreCutOff) {
  EXPECT_EQ(parseRFC3339("2024-01-31T00:00:00.1234569999999999999999Z"), day(2024, 1, 31) + 123456us);
  EXPECT_EQ(parseRFC3339("1969-12-31T23:59:59.9999999Z"), Date{} - 1us);
  EXPECT_EQ(parseRFC3339("2024-01-31T00:00:00.5Z"), day(2024, 1, 31) + 500ms);
}

TEST(RFC3339, OffsetsLeadToTheSameInstant) {
  const Date noon = day(2024, 3, 1) + 12h;
  EXPECT_EQ(parseRFC3339("2024-03-01T17:30:00+05:30"), noon);
  EXPECT_EQ(parseRFC3339("2024-03-01T04:00:00-08:00"), noon);
  EXPECT_EQ(parseRFC3339("2024-03-01T12:00:00-00:00"), noon);
  EXPECT_EQ(parseRFC3339("2024-02-29T20:00:00-16:00"), noon);
}

TEST(RFC3339, LettersMayBeSmall) {
  EXPECT_EQ(parseRFC3339("2024-03-01t12:00:00z"), day(2024, 3, 1) + 12h);
}

TEST(RFC3339, ALeapSecondIsTheFirstSecondOfTheNextDay) {
  EXPECT_EQ(parseRFC3339("2016-12-31T23:59:60Z"), day(2017, 1, 1));
  EXPECT_EQ(parseRFC3339("2016-12-31T23:59:60.25Z"), day(2017, 1, 1) + 250ms);
  EXPECT_EQ(parseRFC3339("2017-01-01T05:29:60+05:30"), day(2017, 1, 1));
}

TEST(RFC3339, LeapDaysFollowTheCalendar) {
  EXPECT_TRUE(parseRFC3339("2024-02-29T00:00:00Z"));
  EXPECT_TRUE(parseRFC3339("2000-02-29T00:00:00Z"));
  EXPECT_FALSE(parseRFC3339("1900-02-29T00:00:00Z"));
  EXPECT_FALSE(parseRFC3339("2023-02-29T00:00:00Z"));
}

TEST(RFC3339, TheFirstAndTheLastYearAreRead) {
  EXPECT_EQ(parseRFC3339("0000-01-01T00:00:00Z"), day(0, 1, 1));
  EXPECT_EQ(parseRFC3339("9999-12-31T23:59:59.999999Z"), day(9999, 12, 31) + 24h - 1us);
}

class NotATime : public testing::TestWithParam<std::string> {};

TEST_P(NotATime, CountsAsAbsent) {
  EXPECT_EQ(parseRFC3339(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    RFC3339, NotATime,
    testing::Values("", "2024", "2024-01-31", "2024-01-31T12:34Z", "2024-01-31 12:34:56Z",
                    "2024-01-31T12:34:56", "2024-01-31T12:34:56.Z", "2024-01-31T12:34:56,5Z",
                    "2024-13-01T00:00:00Z", "2024-00-01T00:00:00Z", "2024-01-00T00:00:00Z",
                    "2024-04-31T00:00:00Z", "2024-01-31T24:00:00Z", "2024-01-31T12:60:00Z",
                    "2024-01-31T12:34:61Z", "2024-01-31T12:34:60Z", "2024-01-31T12:34:56+24:00",
                    "2024-01-31T12:34:56+05:60", "2024-01-31T12:34:56+0530", "2024-01-31T12:34:56+05",
                    "10000-01-01T00:00:00Z", "-001-01-01T00:00:00Z", "+2024-01-31T12:34:56Z",
                    "24-01-31T12:34:56Z", "2024-1-31T12:34:56Z", " 2024-01-31T12:34:56Z",
                    "2024-01-31T12:34:56Z ", "2024-01-31T12:34:56ZZ", "2024-01-31T1a:34:56Z",
                    "2024-01-31T-1:34:56Z", "0000-01-01T00:00:00+00:01", "9999-12-31T23:59:59-00:01",
                    "9999-12-31T23:59:60Z", std::string("2024-01-31T12:34:56Z\0", 21),
                    "２０２４-01-31T12:34:56Z"));

TEST(RFC3339, WhatIsWrittenIsReadBack) {
  for (const auto* text :
       {"2024-01-31T12:34:56.789Z", "2024-01-31T12:34:56.789123Z", "0000-01-01T00:00:00.000Z",
        "1969-12-31T23:59:59.999999Z", "9999-12-31T23:59:59.000Z"}) {
    const auto date = parseRFC3339(text);
    ASSERT_TRUE(date) << text;
    EXPECT_EQ(formatRFC3339(*date), text);
  }
}

}  // namespace
}  // namespace corvane
