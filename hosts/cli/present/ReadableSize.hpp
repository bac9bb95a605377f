#pragma once

#include <cstdint>
#include <string>

namespace corvane::cli {

/// A number of bytes in the largest unit (IEC 80000-13) that leaves a number of at least one: "512 B", "1.5 KiB".
std::string readableSize(std::int64_t bytes);

/// A number with its thousands set apart: "12,345".
std::string readableCount(std::uint64_t count);

}  // namespace corvane::cli
