#pragma once

#include "Style.hpp"

#include <cstdint>
#include <string>

namespace corvane::cli {

/// How full a storage is, drawn: "[#####...............] 25 %". Yellow from 80 %, red from 95 %; a full bar and the
/// true number when it is over the limit; empty text when there is no limit to draw against.
std::string quotaBar(std::int64_t used, std::int64_t limit, const Style& style);

}  // namespace corvane::cli
