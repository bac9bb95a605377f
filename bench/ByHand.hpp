#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What loops written by hand keep: the fields of the module's records in the same types, and nothing else.
namespace bench {

using Time = std::chrono::sys_time<std::chrono::microseconds>;

struct File {
  std::string id;
  std::string mimeType;
  std::string name;
  std::optional<std::string> size;
  bool shared = false;
  bool trashed = false;
  Time createdTime{};
  Time modifiedTime{};
  std::optional<std::vector<std::string>> parents;
  std::optional<std::string> iconLink;
  std::optional<std::string> webViewLink;
};

struct Page {
  std::vector<File> files;
  std::string nextPageToken;
};

/// "2024-05-06T07:08:09.123Z", as Drive writes every time.
inline Time timeFrom(std::string_view text) {
  if (text.size() != 24 || text[23] != 'Z') {
    std::fputs("a time is not as Drive writes it\n", stderr);
    std::exit(1);
  }
  const auto digit = [&](std::size_t at) { return text[at] - '0'; };
  const auto two = [&](std::size_t at) { return digit(at) * 10 + digit(at + 1); };
  const std::chrono::year_month_day day(std::chrono::year(two(0) * 100 + two(2)),
                                        std::chrono::month(static_cast<unsigned>(two(5))),
                                        std::chrono::day(static_cast<unsigned>(two(8))));
  return std::chrono::sys_days(day) + std::chrono::hours(two(11)) + std::chrono::minutes(two(14)) +
         std::chrono::seconds(two(17)) + std::chrono::milliseconds(two(20) * 10 + digit(22));
}

}  // namespace bench
