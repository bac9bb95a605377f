#pragma once

#include <Corvane/Date.hpp>

#include <chrono>
#include <cstdint>

namespace corvane::test {

/// A point in time, so many microseconds after 2024-01-01 00:00:00 UTC.
inline Date instant(std::int64_t microseconds = 0) {
  return Date{std::chrono::seconds{1'704'067'200}} + std::chrono::microseconds{microseconds};
}

}  // namespace corvane::test
