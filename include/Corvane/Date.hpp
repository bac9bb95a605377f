#pragma once

#include <chrono>

namespace corvane {

/// A point in time, exact to the microsecond; Drive gives milliseconds.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// 2001-01-01 00:00:00 UTC, from which keyed coders count a point in time as seconds.
inline constexpr Date referenceDate{std::chrono::seconds{978'307'200}};

}  // namespace corvane
