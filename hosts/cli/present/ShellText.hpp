#pragma once

#include <string>
#include <string_view>

namespace corvane::cli {

/// A text as one word for the shell, between quotes unless it needs none. (POSIX.1-2017, XCU 2.2.2.)
std::string shellText(std::string_view text);

}  // namespace corvane::cli
