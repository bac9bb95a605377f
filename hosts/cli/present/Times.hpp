#pragma once

#include <Corvane/Date.hpp>

#include <string>

namespace corvane::cli {

/// A point in time as RFC 3339 writes it, in UTC: milliseconds, or microseconds where they count.
std::string rfc3339(Date date);

/// The same for people, to the minute, in UTC: "2024-03-01 12:34".
std::string shortTime(Date date);

}  // namespace corvane::cli
