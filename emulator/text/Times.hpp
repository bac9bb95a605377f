#pragma once

#include <chrono>
#include <string>

namespace corvane::emulator {

using Instant = std::chrono::system_clock::time_point;

/// `2024-01-31T12:34:56.789Z`, as Drive writes points in time.
std::string rfc3339(Instant instant);
/// The form of the Date header (RFC 9110 section 5.6.7).
std::string httpDate(Instant instant);

}  // namespace corvane::emulator
